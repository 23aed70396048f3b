# Programs and libraries of the MPI launch tests.
#
# A stand-in MPI library that tells the version the test asks for, under the
# file names of Open MPI's and MPICH's libraries.
foreach(soname IN ITEMS 40 12)
    add_library(fs_fake_mpi_${soname} MODULE ${CMAKE_CURRENT_SOURCE_DIR}/helpers/fake_mpi.cpp)
    target_link_libraries(fs_fake_mpi_${soname} PRIVATE FileSystemBuildOptions)
    set_target_properties(fs_fake_mpi_${soname} PROPERTIES
        PREFIX "lib" OUTPUT_NAME "mpi" SUFFIX ".so.${soname}"
        LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/fakempi/lib)
    add_dependencies(FileSystemTests fs_fake_mpi_${soname})
endforeach()
target_compile_definitions(FileSystemTests PRIVATE
    FS_TEST_FAKE_MPI_LIB_DIR="${CMAKE_CURRENT_BINARY_DIR}/fakempi/lib")

# A real MPI program for each installed MPI, built with that MPI's own
# compiler wrapper, so that launches run for real. Where a wrapper is missing
# the program's path stays empty and its tests say so.
set(mpi_rank_source ${CMAKE_CURRENT_SOURCE_DIR}/helpers/mpi_rank.cpp)
foreach(flavour IN ITEMS openmpi mpich)
    string(TOUPPER ${flavour} flavour_upper)
    find_program(FILESYSTEM_MPICXX_${flavour_upper} mpicxx.${flavour})
    set(program "")
    if(FILESYSTEM_MPICXX_${flavour_upper})
        set(program ${CMAKE_CURRENT_BINARY_DIR}/mpi-programs/${flavour}/mpi_rank)
        add_custom_command(OUTPUT ${program}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/mpi-programs/${flavour}
            COMMAND ${FILESYSTEM_MPICXX_${flavour_upper}} -O1 -o ${program} ${mpi_rank_source}
            DEPENDS ${mpi_rank_source}
            COMMENT "Building the MPI test program with mpicxx.${flavour}")
        add_custom_target(mpi_rank_${flavour} DEPENDS ${program})
        add_dependencies(FileSystemTests mpi_rank_${flavour})
    endif()
    target_compile_definitions(FileSystemTests PRIVATE FS_TEST_MPI_RANK_${flavour_upper}="${program}")
endforeach()
