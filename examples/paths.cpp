// The library's main road as far as it goes: paths of several forms taken
// apart, normalised, made relative and converted to the system's form.

#include <FileSystem/FileSystem.h>

#include <iostream>
#include <string>
#include <vector>

using FileSystem::Path;

namespace {

std::string joined(const std::vector<std::string>& tokens) {
    std::string text;
    for (const std::string& token : tokens)
        text += (text.empty() ? "[" : ", ") + token;
    return text.empty() ? "[]" : text + "]";
}

} // namespace

int main() {
    std::cout << "FileSystem " << Utilities::libraryVersion().toString() << " on "
              << Utilities::buildPlatform().toString() << "\n\n";

    std::cout << "Taking paths apart\n";
    for (const std::string path : {"/usr/share/doc/README.md", "C:\\Models\\Wing.v2.TXT", "//server/share/run/",
                                   "\\\\?\\UNC\\server\\share\\data.bin", "archive.tar.gz", ".bashrc"}) {
        std::cout << "  " << path << "\n"
                  << "    tokens " << joined(Path::getTokens(path)) << ", first '" << Path::getFirstToken(path)
                  << "', last '" << Path::getLastToken(path) << "'\n"
                  << "    extension '" << Path::getExtension(path, true) << "', base name '"
                  << Path::getBaseFileName(path) << "', absolute " << std::boolalpha << Path::isAbsolutePath(path)
                  << ", prefix " << Path::UNCPrefixLength(path) << "\n";
    }

    std::cout << "\nNormalising\n";
    for (const std::string path : {"/data//runs/./a/../b", "C:\\a\\b\\..\\c", "//host//share/x/../y", "relative/x/.."})
        std::cout << "  " << path << "  ->  " << Path::removeRedundentRelativeSegments(path) << "\n";

    std::cout << "\nRelative paths\n";
    const std::pair<const char*, const char*> pairs[] = {
        {"C:/a/b/c", "C:/a/d"}, {"C:/a", "C:/a/b/c"}, {"/home/ada/model/mesh.dat", "/home/ada/results"},
        {"D:/x", "C:/y"}};
    for (const auto& [path, base] : pairs)
        std::cout << "  " << path << " from " << base << "  ->  '" << Path::calculateRelativePath(path, base)
                  << "'\n";

    std::cout << "\nConverting to the system's form and back\n";
    for (const std::string path : {"results/run1", "C:", "//host/a"}) {
        const std::string native = FileSystem::LongPathConverter::fromKVLPath(path, false);
        std::cout << "  " << path << "  ->  this system: " << native
                  << ", Windows long form: " << FileSystem::WindowsLongPathConverter::fromKVLPath(path, true)
                  << ", back: " << FileSystem::LongPathConverter::toKVLPath(native) << "\n";
    }

    std::cout << "\nThis machine\n"
              << "  current directory " << FileSystem::OSPaths::getCurrentDirectory() << "\n"
              << "  it lies on " << FileSystem::OSPaths::getRootPath(".") << " ("
              << FileSystem::OSPaths::getVolumeNameFromPath(FileSystem::OSPaths::getCurrentDirectory()) << ")\n"
              << "  spelling of /USR/Share on disk: " << Path::correctCaptialization("/USR/Share") << "\n";
    return 0;
}
