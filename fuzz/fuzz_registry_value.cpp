// Any bytes as a value file of the registry store: every typed reading and the
// listing must treat it alike (a value of some kind, or none), and nothing may
// crash or allocate beyond the store's bound. The bytes also go through the
// UTF-16 conversions, which must give back the text they made.

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/environment/WindowsRegistry.h>
#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace {

const std::string& storeRoot() {
    static const std::string root = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "fuzz-registry-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            std::abort();
        FileSystem::SystemEnvironmentVariables::instance().setEnvironmentVariable("KV_TESSEL_REGISTRY_ROOT", pattern);
        FileSystem::Directory::create(pattern + "/HKEY_CURRENT_USER/Fuzz", false, true);
        return pattern;
    }();
    return root;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace FileSystem::WindowsRegistry;
    const std::string input(reinterpret_cast<const char*>(bytes), size);
    FileSystem::File::dumpToFile(storeRoot() + "/HKEY_CURRENT_USER/Fuzz/@v", input);

    const std::string key = "HKEY_CURRENT_USER\\Fuzz";
    const auto any = BinaryValue(key, "v", {ValueFilter::Any}).get();
    const auto values = Key::getChildValues(key);
    if (any.has_value() != (values.size() == 1) || (any && any->size() > size))
        std::abort();
    const auto type = BinaryValue(key, "v", {ValueFilter::Any}).type();
    if (StringValue(key, "v").get() && type != ValueType::String)
        std::abort();
    if (DWordValue(key, "v").get() && type != ValueType::DWord)
        std::abort();
    QWordValue(key, "v").get();
    MultiStringValue(key, "v").get();
    ExpandableStringValue(key, "v").get();

    const std::string text = Helpers::stringFromBinary(input);
    if (Helpers::stringFromBinary(Helpers::stringToBinary(text)) != text)
        std::abort();
    return 0;
}
