cmake_minimum_required(VERSION 3.25)

# Installs the built library into a fresh prefix and reads the dynamic symbol
# table of the installed shared library: it must hold no symbol of the platform
# layer (FileSystem::sys) or of an internal part (a detail namespace), and it
# must hold the public symbols named below, one of each kind of declaration
# that needs the export macro.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
    RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "Installing ${BUILD_DIR} failed (${result})")
endif()

file(GLOB_RECURSE libraries LIST_DIRECTORIES false ${prefix}/libFileSystem.so.*.*)
list(LENGTH libraries count)
if(NOT count EQUAL 1)
    message(FATAL_ERROR "Expected one installed libFileSystem.so.<version>, found: ${libraries}")
endif()

execute_process(COMMAND ${NM} -DC --defined-only ${libraries}
    RESULT_VARIABLE result OUTPUT_VARIABLE symbols ERROR_VARIABLE errors)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${NM} failed (${result}): ${errors}")
endif()
string(REPLACE ";" "\\;" symbols "${symbols}")
string(REPLACE "\n" ";" symbols "${symbols}")

set(internal ${symbols})
list(FILTER internal INCLUDE REGEX "(^|[^A-Za-z0-9_])(sys|detail)::")
if(internal)
    list(LENGTH internal count)
    list(SUBLIST internal 0 20 shown)
    list(JOIN shown "\n  " shown)
    message(FATAL_ERROR "${count} internal symbols are exported, among them:\n  ${shown}")
endif()

set(expected
    "FileSystem::Path::getTokens"                         # member of an exported class
    "FileSystem::DynamicLibraryLinker::s_SearchPaths"     # static data member
    "FileSystem::fileCrawler"                             # free function
    "FileSystem::PosixOpenFlags::ReadOnly"                # extern data
    "FileSystem::ZipArchive::FileInZip::readAll"          # nested class
    "Utilities::libraryVersion"                           # free function of another namespace
    "RuntimeEnvironment::installPath"                     # class of the global namespace
    "typeinfo for FileSystem::EnvironmentVariableModelROAbstract" # dynamic_cast and catch across the boundary
)
set(missing)
foreach(name IN LISTS expected)
    set(found ${symbols})
    string(REGEX REPLACE "([][+.*()^$?|\\\\])" "\\\\\\1" pattern "${name}")
    list(FILTER found INCLUDE REGEX " ${pattern}($|[[(])")
    if(NOT found)
        list(APPEND missing "${name}")
    endif()
endforeach()
if(missing)
    list(JOIN missing "\n  " missing)
    message(FATAL_ERROR "Public symbols missing from the dynamic symbol table:\n  ${missing}")
endif()
list(LENGTH symbols count)
message(STATUS "${count} exported symbols, none internal")
