#include <FileSystem/zip/ZipStream.h>

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>
#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/files/TemporaryFile.h>

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace FileSystem {

namespace {

// The suite's fixed suffix of derived passwords.
const char* const kPasswordSuffix = "Vorlage9Z";
constexpr std::uint64_t kMaxAesPassword = 128;
// FileInZip reads and writes at most 2^30 bytes a call.
constexpr std::uint64_t kMaxBlock = std::uint64_t(1) << 30;

std::string cutForAes(std::string password, const std::optional<int>& aesVersion) {
    if (aesVersion && *aesVersion > 0 && password.size() > kMaxAesPassword)
        password.resize(kMaxAesPassword);
    return password;
}

std::string folderOf(const std::string& path) {
    const std::string folder = Path::stripLastToken(path);
    return folder.empty() ? std::string(".") : folder;
}

} // namespace

// ---- ZipFileBuffer ---------------------------------------------------------------------

ZipFileBuffer::ZipFileBuffer(std::uint64_t bufferSize)
    : m_buffer(static_cast<std::size_t>(std::clamp<std::uint64_t>(bufferSize, 1, kMaxBlock))) {
    setg(nullptr, nullptr, nullptr);
    setp(nullptr, nullptr);
}

void ZipFileBuffer::setFile(ZipArchive::FileInZip* file, const std::string& fileName, std::uint64_t size) {
    m_file = file;
    m_fileName = fileName;
    m_size = size;
    m_position = 0;
    m_failed = false;
    setg(m_buffer.data(), m_buffer.data(), m_buffer.data());
    if (file != nullptr && file->isZipping())
        setp(m_buffer.data(), m_buffer.data() + m_buffer.size());
    else
        setp(nullptr, nullptr);
}

ZipFileBuffer::int_type ZipFileBuffer::underflow() {
    if (gptr() < egptr())
        return traits_type::to_int_type(*gptr());
    if (m_file == nullptr || !m_file->isUnzipping() || m_failed)
        return traits_type::eof();
    const int count = m_file->read(m_buffer.data(), static_cast<unsigned>(m_buffer.size()));
    if (count <= 0) {
        // A negative count is damaged data or a failed check: the stream fails.
        m_failed = count < 0;
        return traits_type::eof();
    }
    m_position += static_cast<std::uint64_t>(count);
    setg(m_buffer.data(), m_buffer.data(), m_buffer.data() + count);
    return traits_type::to_int_type(*gptr());
}

bool ZipFileBuffer::writeThrough(const char* data, std::uint64_t count) {
    while (count > 0) {
        const auto block = static_cast<unsigned>(std::min(count, kMaxBlock));
        if (m_file == nullptr || m_failed || m_file->write(data, block) != static_cast<int>(block)) {
            m_failed = true;
            return false;
        }
        m_position += block;
        data += block;
        count -= block;
    }
    return true;
}

bool ZipFileBuffer::flushPending() {
    const auto pending = static_cast<std::uint64_t>(pptr() - pbase());
    if (pending == 0)
        return !m_failed;
    const bool written = writeThrough(pbase(), pending);
    setp(m_buffer.data(), m_buffer.data() + m_buffer.size());
    return written;
}

ZipFileBuffer::int_type ZipFileBuffer::overflow(int_type c) {
    if (pbase() == nullptr || !flushPending())
        return traits_type::eof();
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return traits_type::not_eof(c);
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

int ZipFileBuffer::sync() {
    if (pbase() == nullptr)
        return m_failed ? -1 : 0;
    return flushPending() ? 0 : -1;
}

std::streamsize ZipFileBuffer::xsputn(const char* data, std::streamsize count) {
    if (pbase() == nullptr || count <= 0)
        return 0;
    const auto room = static_cast<std::streamsize>(epptr() - pptr());
    if (count <= room) {
        std::copy(data, data + count, pptr());
        pbump(static_cast<int>(count));
        return count;
    }
    // Larger than the room left: what is buffered goes first, then the block itself.
    if (!flushPending() || !writeThrough(data, static_cast<std::uint64_t>(count)))
        return 0;
    return count;
}

ZipFileBuffer::pos_type ZipFileBuffer::seekoff(off_type offset, std::ios_base::seekdir direction,
                                               std::ios_base::openmode which) {
    if (pbase() != nullptr) {
        // A writer tells where it is and goes nowhere else.
        if (offset != 0 || direction == std::ios_base::beg || (which & std::ios_base::out) == 0)
            return pos_type(off_type(-1));
        return pos_type(static_cast<off_type>(m_position + static_cast<std::uint64_t>(pptr() - pbase())));
    }
    if ((which & std::ios_base::in) == 0 || m_file == nullptr)
        return pos_type(off_type(-1));
    // A reader moves within what it holds.
    const auto bufferedStart = static_cast<off_type>(m_position) - static_cast<off_type>(egptr() - eback());
    const auto current = static_cast<off_type>(m_position) - static_cast<off_type>(egptr() - gptr());
    off_type target = 0;
    switch (direction) {
    case std::ios_base::beg:
        target = offset;
        break;
    case std::ios_base::cur:
        target = current + offset;
        break;
    default:
        target = static_cast<off_type>(m_size) + offset;
        break;
    }
    if (target < bufferedStart || target > static_cast<off_type>(m_position))
        return pos_type(off_type(-1));
    setg(eback(), eback() + (target - bufferedStart), egptr());
    return pos_type(target);
}

ZipFileBuffer::pos_type ZipFileBuffer::seekpos(pos_type position, std::ios_base::openmode which) {
    return seekoff(off_type(position), std::ios_base::beg, which);
}

// ---- ZipIOStream --------------------------------------------------------------------------

const std::string ZipIOStream::zipStreamComment = "ZipStream-1";

ZipIOStream::ZipIOStream(const std::string& file, int mode, const std::string& password, int aesVersion,
                         std::uint64_t bufferSize)
    : std::basic_iostream<char>(nullptr), m_buffer(bufferSize),
      m_path(Path::removeRedundentRelativeSegments(file)), m_archive(1), m_mode(mode), m_password(password),
      m_aesVersion(aesVersion) {
    rdbuf(&m_buffer);
    if (mode == static_cast<int>(std::ios_base::in))
        openForReading();
    else
        openForWriting();
    if (!m_open)
        setstate(std::ios_base::failbit);
}

ZipIOStream::~ZipIOStream() {
    if (m_open)
        close();
    // The buffer goes before the stream base: detach it first.
    rdbuf(nullptr);
}

std::string ZipIOStream::generatePassword(const std::string& path, const std::optional<int>& aesVersion) {
    std::string name = Path::getLastToken(path);
    std::reverse(name.begin(), name.end());
    return cutForAes(name + kPasswordSuffix, aesVersion);
}

std::string ZipIOStream::password(const std::string& path, const std::optional<int>& aesVersion) const {
    if (!m_password.empty())
        return cutForAes(m_password, aesVersion);
    return generatePassword(path, aesVersion);
}

void ZipIOStream::openForReading() {
    // The library writes archives under a temporary name and renames them into
    // place, so a reader never meets a half-written one: one attempt is enough.
    if (!m_archive.open(m_path.get(), ZipArchive::OpenMode::Read))
        return;
    const std::string name = m_path.getLastToken();
    std::unique_ptr<ZipArchive::FileInZip> entry = m_archive.openFile(name);
    if (!entry || !entry->isFile()) {
        // Renamed since it was written: the archive's first file entry.
        const auto files = m_archive.findFileInfos([](const ZipArchive::FileInfo&) { return true; });
        entry.reset();
        for (const auto& info : files) {
            auto candidate = std::make_unique<ZipArchive::FileInZip>(info, &m_archive);
            if (candidate->isFile()) {
                entry = std::move(candidate);
                break;
            }
        }
    }
    if (!entry)
        return;
    bool opened = false;
    if (entry->isTesselFileComment() && entry->getTesselAdditionalComment() == zipStreamComment) {
        m_aesVersion = entry->getAESVersion();
        const std::string entryPath = entry->getPathInZip();
        std::string secret = password(entryPath, m_aesVersion);
        opened = entry->open(secret);
        // Entries of older writers: a password of odd length one character
        // longer, then the password with a NUL behind it.
        if (!opened && m_aesVersion >= 1 && secret.size() < kMaxAesPassword && secret.size() % 2 == 1)
            opened = entry->open(secret + secret.back());
        if (!opened)
            opened = entry->open(secret + std::string(1, '\0'));
    } else {
        m_aesVersion = entry->getAESVersion();
        opened = entry->open();
    }
    if (!opened)
        return;
    m_file = std::move(entry);
    m_buffer.setFile(m_file.get(), m_file->getPathInZip(), m_file->size());
    m_open = true;
}

void ZipIOStream::openForWriting() {
    if (!m_archive.open(m_path.get(), ZipArchive::OpenMode::Create))
        return;
    const std::string name = m_path.getLastToken();
    auto entry = m_archive.openFile(name);
    if (!entry || !entry->open(password(name, m_aesVersion), m_aesVersion, zipStreamComment))
        return;
    m_file = std::move(entry);
    m_buffer.setFile(m_file.get(), name, 0);
    m_open = true;
}

bool ZipIOStream::close() {
    if (!m_open)
        return false;
    m_open = false;
    bool ok = m_buffer.pubsync() == 0 && !m_buffer.failed();
    if (m_file) {
        ok = m_file->close() && ok;
        m_buffer.setFile(nullptr, m_buffer.fileName(), 0);
        m_file.reset();
    }
    if (m_archive.isZipping())
        ok = m_archive.commit() && ok;
    m_archive.close();
    if (!ok)
        setstate(std::ios_base::failbit);
    return ok;
}

// ---- ZipStream ------------------------------------------------------------------------------

ZipStream::ZipStream(const std::string& file, int mode, const std::string& password, int aesVersion,
                     std::uint64_t bufferSize)
    : m_stream(std::make_unique<ZipIOStream>(file, mode, password, aesVersion, bufferSize)) {}

void ZipStream::compressTextFile(const std::string& source, const std::string& destination) {
    const std::string folder = folderOf(destination);
    if (!Directory::exists(folder))
        throw std::runtime_error("Destination Directory does not exist: " + folder);
    const std::string name = Path::getLastToken(destination);
    TemporaryDirectory work(folder, name, true, 100);
    const std::string workFile = work.getPath() + "/" + name;

    KVifstreamBinary input(source);
    if (!input)
        throw std::runtime_error("Error reading text file for compression");
    {
        ZipIOStream output(workFile, static_cast<int>(std::ios_base::out), std::string(), 1, 16384);
        if (!output)
            throw std::runtime_error("Error writing compressed text file");
        char buffer[65536];
        while (input.read(buffer, sizeof buffer) || input.gcount() > 0) {
            if (!output.write(buffer, input.gcount()))
                throw std::runtime_error("Error writing compressed text file");
        }
        if (input.bad())
            throw std::runtime_error("Error reading text file for compression");
        if (!output.close())
            throw std::runtime_error("Error writing compressed text file");
    }
    if (!File::rename(workFile, destination) && !File::copyFile(workFile, destination, false, false, {}))
        throw std::runtime_error("Error writing compressed text file");
}

void ZipStream::uncompressTextFile(const std::string& source, const std::string& destination) {
    ZipIOStream input(source, static_cast<int>(std::ios_base::in), std::string(), 1, 16384);
    if (!input)
        throw std::runtime_error("Error opening text file for uncompression");
    const std::string folder = folderOf(destination);
    if (!Directory::exists(folder))
        throw std::runtime_error("Destination Directory does not exist: " + folder);
    const std::string name = Path::getLastToken(destination);
    TemporaryDirectory work(folder, name, true, 100);
    const std::string workFile = work.getPath() + "/" + name;
    {
        KVofstreamBinary output(workFile);
        if (!output)
            throw std::runtime_error("Error writing uncompressed text file");
        char buffer[65536];
        while (input.read(buffer, sizeof buffer) || input.gcount() > 0)
            if (!output.write(buffer, input.gcount()))
                throw std::runtime_error("Error writing uncompressed text file");
        // Damaged or tampered data ends the read early: nothing is handed out as whole.
        if (input.bad() || !input.eof() || !input.close() || !output.flush())
            throw std::runtime_error("Error writing uncompressed text file");
        output.close();
        if (!output)
            throw std::runtime_error("Error writing uncompressed text file");
    }
    if (!File::rename(workFile, destination) && !File::copyFile(workFile, destination, false, false, {}))
        throw std::runtime_error("Error writing uncompressed text file");
}

// ---- Inflator ---------------------------------------------------------------------------------

struct Inflator::Stream {
    z_stream stream{};
    bool live = false;
    ~Stream() {
        if (live)
            inflateEnd(&stream);
    }
};

namespace {

Inflator::State stateOf(int code) {
    switch (code) {
    case Z_OK:
        return Inflator::State::Ok;
    case Z_STREAM_END:
        return Inflator::State::StreamEnd;
    case Z_NEED_DICT:
        return Inflator::State::NeedDictionary;
    case Z_ERRNO:
        return Inflator::State::Errno;
    case Z_STREAM_ERROR:
        return Inflator::State::StreamError;
    case Z_DATA_ERROR:
        return Inflator::State::DataError;
    case Z_MEM_ERROR:
        return Inflator::State::MemoryError;
    case Z_BUF_ERROR:
        return Inflator::State::BufferError;
    case Z_VERSION_ERROR:
        return Inflator::State::VersionError;
    default:
        return Inflator::State::Unknown;
    }
}

} // namespace

Inflator::Inflator() { initialize(); }
Inflator::Inflator(Inflator&&) noexcept = default;
Inflator& Inflator::operator=(Inflator&&) noexcept = default;
Inflator::~Inflator() = default;

bool Inflator::initialize() {
    m_stream = std::make_unique<Stream>();
    const int code = inflateInit(&m_stream->stream);
    m_stream->live = code == Z_OK;
    m_state = stateOf(code);
    return m_state == State::Ok;
}

bool Inflator::reset() {
    if (!m_stream || !m_stream->live)
        return initialize();
    m_state = stateOf(inflateReset(&m_stream->stream));
    return m_state == State::Ok;
}

std::optional<Inflator::Result> Inflator::inflate(char* out, std::uint64_t outSize, const char* in,
                                                  std::uint64_t inSize) {
    if (m_state == State::StreamEnd)
        return Result{};
    if (m_state != State::Ok || !m_stream || !m_stream->live)
        return std::nullopt;
    constexpr std::uint64_t kMaxPiece = std::numeric_limits<uInt>::max();
    const auto inPiece = static_cast<uInt>(std::min(inSize, kMaxPiece));
    const auto outPiece = static_cast<uInt>(std::min(outSize, kMaxPiece));
    z_stream& stream = m_stream->stream;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in));
    stream.avail_in = inPiece;
    stream.next_out = reinterpret_cast<Bytef*>(out);
    stream.avail_out = outPiece;
    m_state = stateOf(::inflate(&stream, Z_NO_FLUSH));
    const std::uint64_t consumed = inPiece - stream.avail_in;
    const std::uint64_t produced = outPiece - stream.avail_out;
    stream.next_in = nullptr;
    stream.next_out = nullptr;
    if (m_state == State::Ok && consumed == 0 && produced == 0) {
        m_state = State::NoProgress;
        return std::nullopt;
    }
    if (m_state != State::Ok && m_state != State::StreamEnd)
        return std::nullopt;
    return Result{consumed, produced};
}

} // namespace FileSystem
