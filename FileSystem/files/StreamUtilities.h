#pragma once

// Standard streams opened on any path of the library's form: the path is made
// absolute and normalised and converted to the system's form before the file
// buffer opens it.

#include <fstream>
#include <ios>
#include <istream>
#include <ostream>
#include <string>
#include <utility>

namespace FileSystem {

namespace StreamUtilities {

namespace detail {
/// Opens `buffer` on a path in the library's form; false on failure or for an empty path.
bool openFileBuffer(std::filebuf& buffer, const std::string& path, std::ios::openmode mode);
} // namespace detail

/// Input stream base over a buffer that a derived class owns. `RawStyle` is the
/// character type of the stream.
template <class RawStyle>
class CustomIStream : public std::basic_istream<RawStyle> {
protected:
    CustomIStream() : std::basic_istream<RawStyle>(nullptr) {}
    CustomIStream(CustomIStream&& other) : std::basic_istream<RawStyle>(std::move(other)) {}
};

/// Output stream base over a buffer that a derived class owns.
template <class RawStyle>
class CustomOStream : public std::basic_ostream<RawStyle> {
protected:
    CustomOStream() : std::basic_ostream<RawStyle>(nullptr) {}
    CustomOStream(CustomOStream&& other) : std::basic_ostream<RawStyle>(std::move(other)) {}
};

/// An input stream that owns a file buffer.
template <class RawStyle>
class CustomIFStream : public CustomIStream<RawStyle> {
    static_assert(std::is_same_v<RawStyle, char>, "file streams of the library are streams of char");

public:
    CustomIFStream() { this->init(&m_buffer); }
    CustomIFStream(const std::string& path, std::ios::openmode mode) : CustomIFStream() { open(path, mode); }
    CustomIFStream(CustomIFStream&& other)
        : CustomIStream<RawStyle>(std::move(other)), m_buffer(std::move(other.m_buffer)) {
        this->set_rdbuf(&m_buffer);
    }

    /// Opens a path for reading (`std::ios::in` is always added). An empty path
    /// opens nothing; a failure sets the fail bit.
    void open(const std::string& path, std::ios::openmode mode) {
        if (detail::openFileBuffer(m_buffer, path, mode | std::ios::in))
            this->clear();
        else
            this->setstate(std::ios::failbit);
    }
    bool is_open() const { return m_buffer.is_open(); }
    void close() {
        if (!m_buffer.close())
            this->setstate(std::ios::failbit);
    }
    std::basic_filebuf<RawStyle>* rdbuf() const { return const_cast<std::basic_filebuf<RawStyle>*>(&m_buffer); }

private:
    std::basic_filebuf<RawStyle> m_buffer;
};

/// An output stream that owns a file buffer.
template <class RawStyle>
class CustomOFStream : public CustomOStream<RawStyle> {
    static_assert(std::is_same_v<RawStyle, char>, "file streams of the library are streams of char");

public:
    CustomOFStream() { this->init(&m_buffer); }
    CustomOFStream(const std::string& path, std::ios::openmode mode) : CustomOFStream() { open(path, mode); }
    CustomOFStream(CustomOFStream&& other)
        : CustomOStream<RawStyle>(std::move(other)), m_buffer(std::move(other.m_buffer)) {
        this->set_rdbuf(&m_buffer);
    }

    /// Opens a path for writing (`std::ios::out` is always added); without
    /// `app` or `in` an existing file is emptied. A failure sets the fail bit.
    void open(const std::string& path, std::ios::openmode mode) {
        if (detail::openFileBuffer(m_buffer, path, mode | std::ios::out))
            this->clear();
        else
            this->setstate(std::ios::failbit);
    }
    bool is_open() const { return m_buffer.is_open(); }
    void close() {
        if (!m_buffer.close())
            this->setstate(std::ios::failbit);
    }
    std::basic_filebuf<RawStyle>* rdbuf() const { return const_cast<std::basic_filebuf<RawStyle>*>(&m_buffer); }

private:
    std::basic_filebuf<RawStyle> m_buffer;
};

} // namespace StreamUtilities

/// Reads a file given by a path of the library's form.
class KVifstream : public StreamUtilities::CustomIFStream<char> {
public:
    KVifstream() = default;
    explicit KVifstream(const std::string& path, std::ios::openmode mode = std::ios::in)
        : CustomIFStream<char>(path, mode) {}
    KVifstream(KVifstream&& other) : CustomIFStream<char>(std::move(other)) {}
};

/// Reads a file without any translation of its bytes.
class KVifstreamBinary : public KVifstream {
public:
    KVifstreamBinary() = default;
    explicit KVifstreamBinary(const std::string& path, std::ios::openmode mode = std::ios::in)
        : KVifstream(path, mode | std::ios::binary) {}
    KVifstreamBinary(KVifstreamBinary&& other) : KVifstream(std::move(other)) {}
    void open(const std::string& path, std::ios::openmode mode = std::ios::in) {
        KVifstream::open(path, mode | std::ios::binary);
    }
};

/// Writes a file given by a path of the library's form.
class KVofstream : public StreamUtilities::CustomOFStream<char> {
public:
    KVofstream() = default;
    explicit KVofstream(const std::string& path, std::ios::openmode mode = std::ios::out)
        : CustomOFStream<char>(path, mode) {}
    KVofstream(KVofstream&& other) : CustomOFStream<char>(std::move(other)) {}
};

/// Writes a file without any translation of its bytes.
class KVofstreamBinary : public KVofstream {
public:
    KVofstreamBinary() = default;
    explicit KVofstreamBinary(const std::string& path, std::ios::openmode mode = std::ios::out)
        : KVofstream(path, mode | std::ios::binary) {}
    KVofstreamBinary(KVofstreamBinary&& other) : KVofstream(std::move(other)) {}
    void open(const std::string& path, std::ios::openmode mode = std::ios::out) {
        KVofstream::open(path, mode | std::ios::binary);
    }
};

} // namespace FileSystem
