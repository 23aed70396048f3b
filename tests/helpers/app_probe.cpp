// Prints what the library knows about the application it runs in, one fact a
// line; texts in hexadecimal so that any byte comes through. Used by tests.

#include <FileSystem/environment/DynamicLibraryLinker.h>
#include <FileSystem/environment/RuntimeEnvironment.h>
#include <FileSystem/paths/Path.h>

#include <cstdio>
#include <string>

namespace {

std::string hex(const std::string& text) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : text) {
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

void print(const char* key, const std::string& value) { std::printf("%s %s\n", key, hex(value).c_str()); }

template <class Call>
void printOrError(const char* key, Call call) {
    try {
        print(key, call());
    } catch (const std::exception& e) {
        print(key, std::string("error: ") + e.what());
    }
}

} // namespace

int main(int argc, char** argv) {
    printOrError("install-before", [] { return RuntimeEnvironment::installPath(); });
    const auto& arguments = FileSystem::initApplicationArguments(argc, argv);
    char other[] = "other";
    char* otherArgv[] = {other, nullptr};
    FileSystem::initApplicationArguments(1, otherArgv); // the first call wins
    for (const std::string& argument : arguments)
        print("arg", argument);
    print("raw", std::to_string(FileSystem::getAppicationRawArguments().first));
    print("app", FileSystem::getApplication());
    print("file", FileSystem::getApplicationFile());
    print("name", FileSystem::getApplicationName());
    print("dir", FileSystem::getApplicationDirectory());
    printOrError("install", [] { return RuntimeEnvironment::installPath(); });
    printOrError("plugin", [] { return RuntimeEnvironment::pluginPath(); });
    print("pid", std::to_string(FileSystem::getApplicationPid()));
    print("ppid", std::to_string(FileSystem::getParentApplicationPid()));
    // The module that holds the library's code: the shared library this program links.
    print("module", FileSystem::DynamicLibraryLinker::getPathFromAddress(reinterpret_cast<const void*>(
                        static_cast<std::string (*)(const std::string&)>(&FileSystem::Path::getLastToken))));
    return 0;
}
