// Registry keys and typed values, kept in a scratch store so that the user's own stays untouched.
#include <FileSystem/FileSystem.h>
#include <FileSystem/environment/WindowsRegistry.h>

#include <filesystem>
#include <iostream>

using namespace FileSystem;
using namespace FileSystem::WindowsRegistry;

int main(int argc, char** argv) {
    const std::string base = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    const std::string folder = Path::getDuplicationName(base + "/guide-registry");
    Directory::create(folder, false, true);
    // Both hives now live below `folder` until the end of main.
    TemporaryEnvironmentVariable root("KV_TESSEL_REGISTRY_ROOT", folder);

    const std::string key = "HKEY_CURRENT_USER\\Software\\Tessel\\Solver";
    StringValue(key, "").set("default solver settings"); // the key's default value
    StringValue(key, "Title").set("Gr\xC3\xBC\xC3\x9F" "e"); // UTF-8 in, UTF-16 in the registry
    ExpandableStringValue(key, "Scratch").set("%TEMP%\\solver");
    MultiStringValue(key, "Plugins").set({"mesh", "", "contact"});
    DWordValue(key, "Threads").set(8);
    QWordValue(key, "MemoryLimit").set(64ull << 30);
    BinaryValue(key, "Seed").set(std::string("\x00\x01\x02\x03", 4));
    Key::create(key + "\\Recent", true);

    std::cout << "values of " << Key::getLastToken(key) << ":";
    for (const std::string& name : Key::getChildValues(key))
        std::cout << " [" << name << "]";
    std::cout << "\nsubkeys: " << Key::getChildTokens(key).size() << "\n";
    std::cout << "threads: " << DWordValue(key, "threads").get().value_or(0) << "\n"; // names ignore case
    std::cout << "plugins: " << MultiStringValue(key, "Plugins").get()->size() << " members\n";

    // A reading sees only its own kind: Threads is a DWord, not text.
    std::cout << "Threads as text: " << (StringValue(key, "Threads").get() ? "read" : "no value") << "\n";
    const bool unknownRoot = Key::create("HKEY_NOWHERE\\Software", true);
    std::cout << "unknown root: " << (unknownRoot ? "created" : "refused") << "\n";

    const bool removed = Key::remove("HKEY_CURRENT_USER\\Software\\Tessel", true);
    std::cout << "removed: " << std::boolalpha << removed << ", exists: " << Key::exists(key) << "\n";
    Directory::remove(folder, true);
    return removed && !unknownRoot ? 0 : 1;
}
