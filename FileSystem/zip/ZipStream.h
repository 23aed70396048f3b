#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/zip/ZipArchive.h>

#include <cstdint>
#include <istream>
#include <memory>
#include <optional>
#include <streambuf>
#include <string>
#include <vector>

namespace FileSystem {

/// The stream buffer of a ZipIOStream: reads an open archive entry in blocks,
/// or collects written bytes and hands them to the entry in blocks.
class FILESYSTEM_EXPORT ZipFileBuffer : public std::basic_streambuf<char> {
public:
    /// A buffer of `bufferSize` bytes (at least 1) with no entry yet.
    explicit ZipFileBuffer(std::uint64_t bufferSize);
    ZipFileBuffer(const ZipFileBuffer&) = delete;
    ZipFileBuffer& operator=(const ZipFileBuffer&) = delete;

    /// Reads from (or writes to) `file`, an open entry that outlives the use;
    /// `size` is a reader's entry size. Null detaches.
    void setFile(ZipArchive::FileInZip* file, const std::string& fileName, std::uint64_t size);
    /// The name of the entry.
    const std::string& fileName() const noexcept { return m_fileName; }
    /// True when the entry reported damaged data or a failed write.
    bool failed() const noexcept { return m_failed; }

protected:
    /// Refills the buffer from the entry; end of file at the entry's end or on damaged data.
    int_type underflow() override;
    /// Hands the buffered bytes to the entry and takes `c`; end of file when the entry refused them.
    int_type overflow(int_type c) override;
    /// Hands the buffered bytes to the entry; -1 when it refused them.
    int sync() override;
    /// Buffers small blocks and hands large ones to the entry directly.
    std::streamsize xsputn(const char* data, std::streamsize count) override;
    /// A reader moves within the buffered block only; a writer tells its position and moves nowhere.
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode which) override;
    /// seekoff from the start.
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

private:
    bool flushPending();
    bool writeThrough(const char* data, std::uint64_t count);

    ZipArchive::FileInZip* m_file = nullptr;
    std::string m_fileName;
    std::vector<char> m_buffer;
    std::uint64_t m_position = 0; ///< a reader's bytes read from the entry, a writer's bytes handed to it
    std::uint64_t m_size = 0;     ///< a reader's entry size
    bool m_failed = false;
};

/// One file in a one-entry zip archive, as a std::iostream: the suite's
/// compressed files. A writer makes the archive anew with one entry named as
/// the archive, encrypted with a password derived from that name unless one
/// is given (WinZip AES-256); the data reaches the archive when the stream
/// closes, and the archive is complete when close() returns. A reader finds
/// the entry by the archive's name (or takes the first entry when the archive
/// was renamed) and derives the password from the entry's own name. A stream
/// whose archive cannot be opened is a failed stream; nothing throws.
class FILESYSTEM_EXPORT ZipIOStream : public virtual std::basic_iostream<char> {
public:
    /// The additional comment that marks a stream's entry ("ZipStream-1").
    static const std::string zipStreamComment;

    /// Opens `file`: for reading when `mode` is exactly std::ios::in (1),
    /// otherwise for writing. An empty `password` stands for the derived one;
    /// `aesVersion` is the writer's (1 or 2: AES-256; 0: traditional
    /// encryption). `bufferSize` bytes are buffered.
    ZipIOStream(const std::string& file, int mode, const std::string& password, int aesVersion,
                std::uint64_t bufferSize);
    ZipIOStream(const ZipIOStream&) = delete;
    ZipIOStream& operator=(const ZipIOStream&) = delete;
    /// Closes (see close()).
    ~ZipIOStream() override;

    /// Ends the stream: a writer's bytes go to the entry and the archive is
    /// written. False when any of that failed (the fail bit is then set too)
    /// or the stream was not open; a second call is false.
    bool close();
    /// The AES version of the entry: a reader's as found, a writer's as asked.
    int getAESVersion() const noexcept { return m_aesVersion; }

    /// The password of a stream file: its last name reversed, then a fixed
    /// suffix of the suite; cut to 128 characters when `aesVersion` is above 0.
    static std::string generatePassword(const std::string& path, const std::optional<int>& aesVersion);

private:
    std::string password(const std::string& path, const std::optional<int>& aesVersion) const;
    void openForReading();
    void openForWriting();

    ZipFileBuffer m_buffer;
    Path m_path;
    ZipArchive m_archive;
    std::unique_ptr<ZipArchive::FileInZip> m_file;
    int m_mode = 0;
    std::string m_password;
    int m_aesVersion = 0;
    bool m_open = false;
};

/// Owns a ZipIOStream and hands it out as a std::iostream; also compresses and
/// uncompresses whole text files.
class FILESYSTEM_EXPORT ZipStream {
public:
    /// As ZipIOStream's constructor.
    ZipStream(const std::string& file, int mode, const std::string& password = {}, int aesVersion = 1,
              std::uint64_t bufferSize = 16384);

    /// The stream.
    ///@{
    std::basic_iostream<char>& getStream() { return *m_stream; }
    const std::basic_iostream<char>& getStream() const { return *m_stream; }
    ///@}
    /// ZipIOStream::close().
    bool close() { return m_stream->close(); }
    /// True while the stream has not failed.
    explicit operator bool() const { return static_cast<bool>(*m_stream); }
    /// ZipIOStream::getAESVersion().
    int getAESVersion() const noexcept { return m_stream->getAESVersion(); }

    /// ZipIOStream::generatePassword().
    static std::string generatePassword(const std::string& path, const std::optional<int>& aesVersion) {
        return ZipIOStream::generatePassword(path, aesVersion);
    }

    /// Writes the file `source` into a stream archive `destination` (AES,
    /// derived password). The archive is made in a private folder beside the
    /// destination and moved into place when complete, so a reader never sees
    /// half of it. Throws std::runtime_error "Destination Directory does not
    /// exist: <folder>", "Error reading text file for compression" or "Error
    /// writing compressed text file".
    static void compressTextFile(const std::string& source, const std::string& destination);
    /// The mirror: the file of the stream archive `source` to `destination`.
    /// Throws "Error opening text file for uncompression", "Destination
    /// Directory does not exist: <folder>" or "Error writing uncompressed text file".
    static void uncompressTextFile(const std::string& source, const std::string& destination);

private:
    std::unique_ptr<ZipIOStream> m_stream;
};

/// Inflates raw zlib streams (with their zlib header) held in memory, piece by piece.
class FILESYSTEM_EXPORT Inflator {
public:
    /// Where the stream stands.
    enum class State : int {
        Unknown = 0,         ///< any other code
        Ok = 1,              ///< more can be inflated
        NoProgress = 2,      ///< nothing of the input was taken
        StreamEnd = 3,       ///< the stream has ended
        NeedDictionary = 4,  ///< a preset dictionary is needed
        Errno = 5,           ///< a file error of zlib
        StreamError = 6,     ///< the stream's state is inconsistent
        DataError = 7,       ///< the input is not a zlib stream, or is damaged
        MemoryError = 8,     ///< out of memory
        BufferError = 9,     ///< no progress was possible
        VersionError = 10,   ///< zlib's version does not fit
    };
    /// The bytes taken from the input and written to the output by one call.
    struct Result {
        std::uint64_t consumed = 0; ///< input bytes taken
        std::uint64_t produced = 0; ///< output bytes written
    };

    /// A fresh stream; check state().
    Inflator();
    /// Takes over the other's stream; the other has none.
    ///@{
    Inflator(Inflator&&) noexcept;
    Inflator& operator=(Inflator&&) noexcept;
    ///@}
    ~Inflator();

    /// Starts a fresh stream; true when it is ready.
    bool initialize();
    /// Starts the same stream over (zlib's inflateReset); true when it is ready.
    bool reset();
    /// The state after the last call.
    State state() const noexcept { return m_state; }
    /// Inflates from `in` into `out` (each at most 4 GiB a call): the counts;
    /// counts of 0 once the stream has ended; empty when nothing was taken
    /// (state NoProgress) or on an error (the state tells which).
    std::optional<Result> inflate(char* out, std::uint64_t outSize, const char* in, std::uint64_t inSize);
    /// inflate().
    std::optional<Result> operator()(char* out, std::uint64_t outSize, const char* in, std::uint64_t inSize) {
        return inflate(out, outSize, in, inSize);
    }
    /// state() is Ok.
    bool canInflate() const noexcept { return m_state == State::Ok; }
    /// state() is StreamEnd.
    bool endOfStream() const noexcept { return m_state == State::StreamEnd; }

private:
    struct Stream;
    std::unique_ptr<Stream> m_stream;
    State m_state = State::Unknown;
};

} // namespace FileSystem
