#include <FileSystem/FileSystem.h>

#include <iostream>

int main() {
    const std::string relative = FileSystem::Path::calculateRelativePath("C:/a/b/c", "C:/a/d");
    std::cout << Utilities::libraryVersion().toString() << ' ' << relative << '\n';
    return relative == "../b/c" ? 0 : 1;
}
