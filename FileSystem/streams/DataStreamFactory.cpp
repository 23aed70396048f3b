#include <FileSystem/streams/DataStreamFactory.h>

#include <FileSystem/streams/BinaryDataStream.h>
#include <FileSystem/streams/BinaryDerivedDataStream.h>
#include <FileSystem/streams/TextDataStream.h>
#include <FileSystem/utilities/StreamResetter.h>

#include <limits>
#include <sstream>
#include <stdexcept>

namespace FileSystem {

namespace {

using Utilities::Endianness;

/// Longer header lines are no header lines; reading one stays bounded.
constexpr std::size_t kMaxHeaderLine = 4096;

const char* magicOf(DataStreamType type) {
    switch (type) {
    case DataStreamType::Text:
        return "TQTS";
    case DataStreamType::Binary:
        return "TQBS";
    case DataStreamType::BinaryHex:
        return "TQB16S";
    case DataStreamType::BinaryBase64:
        return "TQB64S";
    default:
        return nullptr;
    }
}

/// One line up to a line feed, consumed whole but kept only up to a bound; the
/// stream's state afterwards is that of std::getline.
std::optional<std::string> readHeaderLine(std::istream& stream) {
    std::string line;
    bool tooLong = false;
    std::size_t extracted = 0;
    std::ios::iostate state = std::ios::goodbit;
    if (std::istream::sentry(stream, true)) {
        std::streambuf* buffer = stream.rdbuf();
        for (;;) {
            const int c = buffer->sbumpc();
            if (c == std::char_traits<char>::eof()) {
                state |= std::ios::eofbit;
                break;
            }
            ++extracted;
            if (c == '\n')
                break;
            if (line.size() < kMaxHeaderLine)
                line += static_cast<char>(c);
            else
                tooLong = true;
        }
    }
    if (extracted == 0)
        state |= std::ios::failbit;
    stream.setstate(state);
    if (tooLong)
        return std::nullopt;
    return line;
}

/// Reads one number field of the header line with operator>>, so that a field
/// that is missing or no number leaves 0 and fails the fields behind it. False
/// for a number that does not fit 64 bits: a negative one, or one that
/// overflows (which the operator would turn into the largest value).
bool readNumberField(std::istream& fields, std::uint64_t& value) {
    fields >> std::ws;
    if (fields.peek() == '-')
        return false;
    fields >> value;
    return !(fields.fail() && value == std::numeric_limits<std::uint64_t>::max());
}

} // namespace

DataStreamType dataStreamTypeFromString(const std::string& word) {
    if (word == "TQTS" || word == "Text")
        return DataStreamType::Text;
    if (word == "TQBS" || word == "Binary")
        return DataStreamType::Binary;
    if (word == "TQB16S" || word == "BinaryHex")
        return DataStreamType::BinaryHex;
    if (word == "TQB64S" || word == "BinaryBase64")
        return DataStreamType::BinaryBase64;
    return DataStreamType::None;
}

DataOStreamContainer createDataOStream(DataStreamType type, const std::uint64_t& fileVersion, std::ostream& stream) {
    const std::uint64_t version = DataStreamBase::latestVersion();
    switch (type) {
    case DataStreamType::Text:
        return DataOStreamContainer(std::make_unique<TextDataOStream>(stream, fileVersion, version,
                                                                      TextNumberFormat::Canonical, std::locale::classic()));
    case DataStreamType::Binary:
        return DataOStreamContainer(
            std::make_unique<BinaryDataOStream>(stream, fileVersion, version, Endianness::LittleEndian));
    case DataStreamType::BinaryHex:
        return DataOStreamContainer(
            std::make_unique<BinaryHexDataOStream>(stream, fileVersion, version, Endianness::LittleEndian));
    case DataStreamType::BinaryBase64:
        return DataOStreamContainer(
            std::make_unique<BinaryBase64DataOStream>(stream, fileVersion, version, Endianness::LittleEndian));
    default:
        throw std::logic_error("Not implemented");
    }
}

DataOStreamContainer createDataOStream(DataStreamType type, const std::uint64_t& fileVersion, KVofstreamBinary& stream) {
    return createDataOStream(type, fileVersion, static_cast<std::ostream&>(stream));
}

DataOStreamContainer createDataOStreamWithHeaderLine(DataStreamType type, const std::uint64_t& fileVersion,
                                                     std::ostream& stream) {
    if (type == DataStreamType::None)
        return DataOStreamContainer();
    {
        Utilities::StreamResetter resetter(stream);
        stream.imbue(std::locale::classic());
        const char* magic = magicOf(type);
        if (magic == nullptr)
            throw std::logic_error("Not implemented");
        stream << magic << ' ' << DataStreamBase::latestVersion() << ' ' << fileVersion;
        if (type != DataStreamType::Text)
            stream << ' ' << '?'; // the endianness mark: readers take all but "B" as little-endian
        stream << '\n';
    }
    return createDataOStream(type, fileVersion, stream);
}

DataOStreamContainer createDataOStreamWithHeaderLine(DataStreamType type, const std::uint64_t& fileVersion,
                                                     KVofstreamBinary& stream) {
    return createDataOStreamWithHeaderLine(type, fileVersion, static_cast<std::ostream&>(stream));
}

DataIStreamContainer createDataIStream(DataStreamType type, const std::uint64_t& fileVersion,
                                       const std::uint64_t& version, std::istream& stream, Endianness endianness) {
    // A format newer than this library's cannot be read as if it were known.
    if (version > DataStreamBase::latestVersion())
        return DataIStreamContainer();
    switch (type) {
    case DataStreamType::Text:
        return DataIStreamContainer(std::make_unique<TextDataIStream>(stream, fileVersion, version,
                                                                      TextNumberFormat::Canonical, std::locale::classic()));
    case DataStreamType::Binary:
        return DataIStreamContainer(std::make_unique<BinaryDataIStream>(stream, fileVersion, version, endianness));
    case DataStreamType::BinaryHex:
        return DataIStreamContainer(std::make_unique<BinaryHexDataIStream>(stream, fileVersion, version, endianness));
    case DataStreamType::BinaryBase64:
        return DataIStreamContainer(std::make_unique<BinaryBase64DataIStream>(stream, fileVersion, version, endianness));
    default:
        return DataIStreamContainer();
    }
}

DataIStreamContainer createDataIStream(DataStreamType type, const std::uint64_t& fileVersion,
                                       const std::uint64_t& version, KVifstreamBinary& stream, Endianness endianness) {
    return createDataIStream(type, fileVersion, version, static_cast<std::istream&>(stream), endianness);
}

DataIStreamContainer createDataIStreamFromHeaderLine(std::istream& stream) {
    DataStreamType type = DataStreamType::None;
    std::uint64_t version = 0;
    std::uint64_t fileVersion = 0;
    Endianness endianness = Endianness::LittleEndian;
    {
        Utilities::StreamResetter resetter(stream);
        stream.imbue(std::locale::classic());
        const auto line = readHeaderLine(stream);
        if (!line)
            return DataIStreamContainer();
        std::istringstream fields(*line);
        fields.imbue(std::locale::classic());
        std::string word;
        fields >> word;
        type = dataStreamTypeFromString(word);
        if (!readNumberField(fields, version) || !readNumberField(fields, fileVersion))
            return DataIStreamContainer();
        if (fields.good() && type != DataStreamType::Text) {
            std::string mark;
            fields >> mark;
            endianness = mark == "B" ? Endianness::BigEndian : Endianness::LittleEndian;
        }
    }
    return createDataIStream(type, fileVersion, version, stream, endianness);
}

DataIStreamContainer createDataIStreamFromHeaderLine(KVifstreamBinary& stream) {
    return createDataIStreamFromHeaderLine(static_cast<std::istream&>(stream));
}

} // namespace FileSystem
