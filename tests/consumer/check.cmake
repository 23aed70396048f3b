# Installs the built library into a fresh prefix, then configures, builds and
# runs a separate project that finds it with find_package(FileSystem); then
# builds and runs the same program with the flags of the pkg-config file, from
# the installed tree moved elsewhere.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "Failed (${result}): ${ARGV}")
    endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_RPATH=${prefix}/lib)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)

# The companion libraries that the build made come with the package and work
# from the installed tree.
foreach(companion IN ITEMS MPI OpenMP)
    string(TOUPPER ${companion} upper)
    string(TOLOWER ${companion} lower)
    file(STRINGS ${BUILD_DIR}/CMakeCache.txt built REGEX "^FILESYSTEM_BUILD_${upper}:BOOL=ON$")
    if(built)
        if(NOT EXISTS ${WORK_DIR}/build/consumer_${lower})
            message(FATAL_ERROR "The installed package has no FileSystem::FileSystem${companion}")
        endif()
        run(${WORK_DIR}/build/consumer_${lower})
    endif()
endforeach()

# The CMake package asks its consumers for C++20 through a compile feature.
file(GLOB_RECURSE targets_files ${prefix}/FileSystemTargets.cmake)
file(READ "${targets_files}" targets)
if(NOT targets MATCHES "INTERFACE_COMPILE_FEATURES \"cxx_std_20\"")
    message(FATAL_ERROR "The installed FileSystem target does not require cxx_std_20")
endif()

# The pkg-config file works from a moved copy of the installed tree (its prefix
# is found from where it lies) and forces no language standard: the flags it
# gives, with the consumer's own -std, build and link the consumer.
set(moved ${WORK_DIR}/moved)
file(RENAME ${prefix} ${moved})
find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
file(GLOB_RECURSE pc_file ${moved}/FileSystem.pc)
get_filename_component(pc_dir "${pc_file}" DIRECTORY)
set(ENV{PKG_CONFIG_LIBDIR} ${pc_dir})
unset(ENV{PKG_CONFIG_PATH})
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs FileSystem
    RESULT_VARIABLE result OUTPUT_VARIABLE flags ERROR_VARIABLE errors OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "pkg-config --cflags --libs FileSystem failed (${result}): ${errors}")
endif()
if(flags MATCHES "(^| )-std=")
    message(FATAL_ERROR "pkg-config forces a language standard: ${flags}")
endif()
separate_arguments(flag_list UNIX_COMMAND "${flags}")
set(include_ok FALSE)
set(library_dir "")
foreach(flag IN LISTS flag_list)
    if(flag MATCHES "^-I(.*)")
        if(EXISTS "${CMAKE_MATCH_1}/FileSystem/FileSystem.h")
            set(include_ok TRUE)
        endif()
    elseif(flag MATCHES "^-L(.*)")
        if(EXISTS "${CMAKE_MATCH_1}/libFileSystem.so")
            set(library_dir "${CMAKE_MATCH_1}")
        endif()
    endif()
endforeach()
if(NOT include_ok OR NOT library_dir OR NOT flags MATCHES "-lFileSystem")
    message(FATAL_ERROR "pkg-config flags do not lead into the moved tree ${moved}: ${flags}")
endif()

file(STRINGS ${BUILD_DIR}/CMakeCache.txt compiler REGEX "^CMAKE_CXX_COMPILER:")
string(REGEX REPLACE "^[^=]*=" "" compiler "${compiler}")
run(${compiler} -std=c++20 ${CONSUMER_SOURCE}/main.cpp ${flag_list} -Wl,-rpath,${library_dir}
    -o ${WORK_DIR}/consumer-pkg-config)
run(${WORK_DIR}/consumer-pkg-config)
