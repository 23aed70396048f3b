#pragma once

// Standard streams opened on any path of the library's form: the path is made
// absolute and normalised and converted to the system's form before the file
// buffer opens it.

#include <FileSystem/Export.h>

#include <fstream>
#include <ios>
#include <istream>
#include <ostream>
#include <string>
#include <utility>

namespace FileSystem {

namespace StreamUtilities {

/// Opens `buffer` on a path in the library's form (made absolute and normalised
/// first) with the standard open mode; false on failure or for an empty path.
FILESYSTEM_EXPORT bool openFileBuffer(std::filebuf& buffer, const std::string& path, std::ios::openmode mode);

/// Input stream base over a buffer that a derived class owns. `RawStyle` is the
/// character type of the stream.
template <class RawStyle>
class CustomIStream : public std::basic_istream<RawStyle> {
protected:
    /// A stream without a buffer; the derived class sets its own.
    CustomIStream() : std::basic_istream<RawStyle>(nullptr) {}
    /// Takes over the stream state; the derived class moves and sets the buffer.
    CustomIStream(CustomIStream&& other) : std::basic_istream<RawStyle>(std::move(other)) {}
};

/// Output stream base over a buffer that a derived class owns.
template <class RawStyle>
class CustomOStream : public std::basic_ostream<RawStyle> {
protected:
    /// A stream without a buffer; the derived class sets its own.
    CustomOStream() : std::basic_ostream<RawStyle>(nullptr) {}
    /// Takes over the stream state; the derived class moves and sets the buffer.
    CustomOStream(CustomOStream&& other) : std::basic_ostream<RawStyle>(std::move(other)) {}
};

/// An input stream that owns a file buffer.
template <class RawStyle>
class CustomIFStream : public CustomIStream<RawStyle> {
    static_assert(std::is_same_v<RawStyle, char>, "file streams of the library are streams of char");

public:
    /// A stream with no file open.
    CustomIFStream() { this->init(&m_buffer); }
    /// Opens `path` at once (see open()).
    CustomIFStream(const std::string& path, std::ios::openmode mode) : CustomIFStream() { open(path, mode); }
    /// Takes over the other stream's state and file.
    CustomIFStream(CustomIFStream&& other)
        : CustomIStream<RawStyle>(std::move(other)), m_buffer(std::move(other.m_buffer)) {
        this->set_rdbuf(&m_buffer);
    }

    /// Opens a path for reading (`std::ios::in` is always added); a success
    /// clears the state. An empty path opens nothing; a failure sets the fail bit.
    void open(const std::string& path, std::ios::openmode mode) {
        if (openFileBuffer(m_buffer, path, mode | std::ios::in))
            this->clear();
        else
            this->setstate(std::ios::failbit);
    }
    /// True while a file is open.
    bool is_open() const { return m_buffer.is_open(); }
    /// Closes the file; a failure (also when none was open) sets the fail bit.
    void close() {
        if (!m_buffer.close())
            this->setstate(std::ios::failbit);
    }
    /// The stream's own file buffer.
    std::basic_filebuf<RawStyle>* rdbuf() const { return const_cast<std::basic_filebuf<RawStyle>*>(&m_buffer); }

private:
    std::basic_filebuf<RawStyle> m_buffer;
};

/// An output stream that owns a file buffer.
template <class RawStyle>
class CustomOFStream : public CustomOStream<RawStyle> {
    static_assert(std::is_same_v<RawStyle, char>, "file streams of the library are streams of char");

public:
    /// A stream with no file open.
    CustomOFStream() { this->init(&m_buffer); }
    /// Opens `path` at once (see open()).
    CustomOFStream(const std::string& path, std::ios::openmode mode) : CustomOFStream() { open(path, mode); }
    /// Takes over the other stream's state and file.
    CustomOFStream(CustomOFStream&& other)
        : CustomOStream<RawStyle>(std::move(other)), m_buffer(std::move(other.m_buffer)) {
        this->set_rdbuf(&m_buffer);
    }

    /// Opens a path for writing (`std::ios::out` is always added); without
    /// `app` or `in` an existing file is emptied. A success clears the state; a
    /// failure (also for an empty path) sets the fail bit.
    void open(const std::string& path, std::ios::openmode mode) {
        if (openFileBuffer(m_buffer, path, mode | std::ios::out))
            this->clear();
        else
            this->setstate(std::ios::failbit);
    }
    /// True while a file is open.
    bool is_open() const { return m_buffer.is_open(); }
    /// Writes out what is buffered and closes the file; a failure (also when
    /// none was open) sets the fail bit.
    void close() {
        if (!m_buffer.close())
            this->setstate(std::ios::failbit);
    }
    /// The stream's own file buffer.
    std::basic_filebuf<RawStyle>* rdbuf() const { return const_cast<std::basic_filebuf<RawStyle>*>(&m_buffer); }

private:
    std::basic_filebuf<RawStyle> m_buffer;
};

} // namespace StreamUtilities

/// Reads a file given by a path of the library's form.
class FILESYSTEM_EXPORT KVifstream : public StreamUtilities::CustomIFStream<char> {
public:
    /// A stream with no file open.
    KVifstream() = default;
    /// Opens `path` for reading; a failure sets the fail bit.
    explicit KVifstream(const std::string& path, std::ios::openmode mode = std::ios::in)
        : CustomIFStream<char>(path, mode) {}
    /// Takes over the other stream's state and file.
    KVifstream(KVifstream&& other) : CustomIFStream<char>(std::move(other)) {}
};

/// Reads a file without any translation of its bytes (`std::ios::binary` is
/// always added).
class FILESYSTEM_EXPORT KVifstreamBinary : public KVifstream {
public:
    /// A stream with no file open.
    KVifstreamBinary() = default;
    /// Opens `path` for reading; a failure sets the fail bit.
    explicit KVifstreamBinary(const std::string& path, std::ios::openmode mode = std::ios::in)
        : KVifstream(path, mode | std::ios::binary) {}
    /// Takes over the other stream's state and file.
    KVifstreamBinary(KVifstreamBinary&& other) : KVifstream(std::move(other)) {}
    /// Opens a path for reading without translation (see CustomIFStream::open).
    void open(const std::string& path, std::ios::openmode mode = std::ios::in) {
        KVifstream::open(path, mode | std::ios::binary);
    }
};

/// Writes a file given by a path of the library's form.
class FILESYSTEM_EXPORT KVofstream : public StreamUtilities::CustomOFStream<char> {
public:
    /// A stream with no file open.
    KVofstream() = default;
    /// Opens `path` for writing (emptied unless `app` or `in` is given); a
    /// failure sets the fail bit.
    explicit KVofstream(const std::string& path, std::ios::openmode mode = std::ios::out)
        : CustomOFStream<char>(path, mode) {}
    /// Takes over the other stream's state and file.
    KVofstream(KVofstream&& other) : CustomOFStream<char>(std::move(other)) {}
};

/// Writes a file without any translation of its bytes (`std::ios::binary` is
/// always added).
class FILESYSTEM_EXPORT KVofstreamBinary : public KVofstream {
public:
    /// A stream with no file open.
    KVofstreamBinary() = default;
    /// Opens `path` for writing (emptied unless `app` or `in` is given); a
    /// failure sets the fail bit.
    explicit KVofstreamBinary(const std::string& path, std::ios::openmode mode = std::ios::out)
        : KVofstream(path, mode | std::ios::binary) {}
    /// Takes over the other stream's state and file.
    KVofstreamBinary(KVofstreamBinary&& other) : KVofstream(std::move(other)) {}
    /// Opens a path for writing without translation (see CustomOFStream::open).
    void open(const std::string& path, std::ios::openmode mode = std::ios::out) {
        KVofstream::open(path, mode | std::ios::binary);
    }
};

} // namespace FileSystem
