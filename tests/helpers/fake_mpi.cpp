// Stands for an MPI library in the location tests: it answers
// MPI_Get_library_version with the text of FS_FAKE_MPI_VERSION, so that one
// file plays installations of any version.
#include <cstdlib>
#include <cstring>

extern "C" __attribute__((visibility("default"))) int MPI_Get_library_version(char* version, int* length) {
    const char* text = std::getenv("FS_FAKE_MPI_VERSION");
    if (text == nullptr)
        text = "Open MPI v4.1.4, package: fake";
    const std::size_t size = std::strlen(text);
    std::memcpy(version, text, size + 1);
    *length = static_cast<int>(size);
    return 0;
}
