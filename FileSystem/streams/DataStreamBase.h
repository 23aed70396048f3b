#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/streams/DataStream.h>

#include <algorithm>
#include <cstdint>

namespace FileSystem {

/// An empty layer over a stream interface.
template <class Interface, int Level>
class DataStreamBaseEx : public Interface {};

/// The layer of the concrete output streams. It implements every typed write
/// by handing the array to the concrete stream's templates
/// `writeFixedValues(const T*, count)` and `writeValues(const T*, count)`, so a
/// concrete stream encodes each element type in one place.
template <class Impl, class Interface = DataOStream>
class DataOStreamBase : public DataStreamBaseEx<Interface, 0> {
public:
    using Interface::do_write;
    using Interface::do_writeFixed;

    bool do_writeFixed(const unsigned long long* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    bool do_writeFixed(const long long* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    bool do_writeFixed(const unsigned int* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    bool do_writeFixed(const int* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    bool do_writeFixed(const unsigned short* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    bool do_writeFixed(const short* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    bool do_writeFixed(const unsigned char* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    bool do_writeFixed(const signed char* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }

    bool do_write(const long double* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    bool do_write(const double* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    bool do_write(const float* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    bool do_write(const char32_t* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    bool do_write(const char16_t* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    bool do_write(const wchar_t* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    bool do_write(const unsigned char* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    bool do_write(const signed char* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    bool do_write(const bool* d, std::uint64_t n) override { return impl().writeValues(d, n); }

private:
    Impl& impl() { return static_cast<Impl&>(*this); }
};

/// The layer of the concrete input streams, the mirror of DataOStreamBase:
/// typed reads go to `readFixedValues(T*, count)` and `readValues(T*, count)`.
template <class Impl, class Interface = DataIStream>
class DataIStreamBase : public DataStreamBaseEx<Interface, 0> {
public:
    using Interface::do_read;
    using Interface::do_readFixed;

    bool do_readFixed(unsigned long long* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    bool do_readFixed(long long* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    bool do_readFixed(unsigned int* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    bool do_readFixed(int* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    bool do_readFixed(unsigned short* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    bool do_readFixed(short* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    bool do_readFixed(unsigned char* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    bool do_readFixed(signed char* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }

    bool do_read(long double* d, std::uint64_t n) override { return impl().readValues(d, n); }
    bool do_read(double* d, std::uint64_t n) override { return impl().readValues(d, n); }
    bool do_read(float* d, std::uint64_t n) override { return impl().readValues(d, n); }
    bool do_read(char32_t* d, std::uint64_t n) override { return impl().readValues(d, n); }
    bool do_read(char16_t* d, std::uint64_t n) override { return impl().readValues(d, n); }
    bool do_read(wchar_t* d, std::uint64_t n) override { return impl().readValues(d, n); }
    bool do_read(unsigned char* d, std::uint64_t n) override { return impl().readValues(d, n); }
    bool do_read(signed char* d, std::uint64_t n) override { return impl().readValues(d, n); }
    bool do_read(bool* d, std::uint64_t n) override { return impl().readValues(d, n); }

private:
    Impl& impl() { return static_cast<Impl&>(*this); }
};

/// The state that every concrete stream shares: the format version in force,
/// the version of the client's file, and the string mode.
class FILESYSTEM_EXPORT DataStreamBase {
public:
    /// The newest stream format this library writes and reads.
    static constexpr std::uint64_t s_latestVersion = 1;
    static std::uint64_t latestVersion() noexcept { return s_latestVersion; }

    /// Note the order: the file version comes first.
    DataStreamBase(const std::uint64_t& fileVersion, const std::uint64_t& version)
        : m_version(version), m_fileVersion(fileVersion) {}

    std::uint64_t getVersion() const noexcept { return m_version; }
    std::uint64_t getFileVersion() const noexcept { return m_fileVersion; }
    StringMode getStringMode() const noexcept { return m_stringMode; }
    void setStringMode(StringMode mode) noexcept { m_stringMode = mode; }
    /// A stream can be told to behave as an older format, never a newer one.
    void setVersion(const std::uint64_t& version) noexcept { m_version = std::min(version, s_latestVersion); }
    void setFileVersion(const std::uint64_t& fileVersion) noexcept { m_fileVersion = fileVersion; }

private:
    std::uint64_t m_version;
    std::uint64_t m_fileVersion;
    StringMode m_stringMode = StringMode::Default;
};

} // namespace FileSystem
