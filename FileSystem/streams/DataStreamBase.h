#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/streams/DataStream.h>

#include <algorithm>
#include <cstdint>

namespace FileSystem {

/// An empty layer over a stream interface: it adds nothing, so that every
/// level of a stream hierarchy has a class of its own to build on.
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

    /// `unsigned long long` elements to the concrete stream's `writeFixedValues`; its result.
    bool do_writeFixed(const unsigned long long* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    /// `long long` elements to the concrete stream's `writeFixedValues`; its result.
    bool do_writeFixed(const long long* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    /// `unsigned int` elements to the concrete stream's `writeFixedValues`; its result.
    bool do_writeFixed(const unsigned int* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    /// `int` elements to the concrete stream's `writeFixedValues`; its result.
    bool do_writeFixed(const int* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    /// `unsigned short` elements to the concrete stream's `writeFixedValues`; its result.
    bool do_writeFixed(const unsigned short* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    /// `short` elements to the concrete stream's `writeFixedValues`; its result.
    bool do_writeFixed(const short* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    /// `unsigned char` elements to the concrete stream's `writeFixedValues`; its result.
    bool do_writeFixed(const unsigned char* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }
    /// `signed char` elements to the concrete stream's `writeFixedValues`; its result.
    bool do_writeFixed(const signed char* d, std::uint64_t n) override { return impl().writeFixedValues(d, n); }

    /// `long double` elements to the concrete stream's `writeValues`; its result.
    bool do_write(const long double* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    /// `double` elements to the concrete stream's `writeValues`; its result.
    bool do_write(const double* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    /// `float` elements to the concrete stream's `writeValues`; its result.
    bool do_write(const float* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    /// `char32_t` elements to the concrete stream's `writeValues`; its result.
    bool do_write(const char32_t* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    /// `char16_t` elements to the concrete stream's `writeValues`; its result.
    bool do_write(const char16_t* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    /// `wchar_t` elements to the concrete stream's `writeValues`; its result.
    bool do_write(const wchar_t* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    /// `unsigned char` elements to the concrete stream's `writeValues`; its result.
    bool do_write(const unsigned char* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    /// `signed char` elements to the concrete stream's `writeValues`; its result.
    bool do_write(const signed char* d, std::uint64_t n) override { return impl().writeValues(d, n); }
    /// `bool` elements to the concrete stream's `writeValues`; its result.
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

    /// `unsigned long long` elements to the concrete stream's `readFixedValues`; its result.
    bool do_readFixed(unsigned long long* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    /// `long long` elements to the concrete stream's `readFixedValues`; its result.
    bool do_readFixed(long long* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    /// `unsigned int` elements to the concrete stream's `readFixedValues`; its result.
    bool do_readFixed(unsigned int* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    /// `int` elements to the concrete stream's `readFixedValues`; its result.
    bool do_readFixed(int* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    /// `unsigned short` elements to the concrete stream's `readFixedValues`; its result.
    bool do_readFixed(unsigned short* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    /// `short` elements to the concrete stream's `readFixedValues`; its result.
    bool do_readFixed(short* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    /// `unsigned char` elements to the concrete stream's `readFixedValues`; its result.
    bool do_readFixed(unsigned char* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }
    /// `signed char` elements to the concrete stream's `readFixedValues`; its result.
    bool do_readFixed(signed char* d, std::uint64_t n) override { return impl().readFixedValues(d, n); }

    /// `long double` elements to the concrete stream's `readValues`; its result.
    bool do_read(long double* d, std::uint64_t n) override { return impl().readValues(d, n); }
    /// `double` elements to the concrete stream's `readValues`; its result.
    bool do_read(double* d, std::uint64_t n) override { return impl().readValues(d, n); }
    /// `float` elements to the concrete stream's `readValues`; its result.
    bool do_read(float* d, std::uint64_t n) override { return impl().readValues(d, n); }
    /// `char32_t` elements to the concrete stream's `readValues`; its result.
    bool do_read(char32_t* d, std::uint64_t n) override { return impl().readValues(d, n); }
    /// `char16_t` elements to the concrete stream's `readValues`; its result.
    bool do_read(char16_t* d, std::uint64_t n) override { return impl().readValues(d, n); }
    /// `wchar_t` elements to the concrete stream's `readValues`; its result.
    bool do_read(wchar_t* d, std::uint64_t n) override { return impl().readValues(d, n); }
    /// `unsigned char` elements to the concrete stream's `readValues`; its result.
    bool do_read(unsigned char* d, std::uint64_t n) override { return impl().readValues(d, n); }
    /// `signed char` elements to the concrete stream's `readValues`; its result.
    bool do_read(signed char* d, std::uint64_t n) override { return impl().readValues(d, n); }
    /// `bool` elements to the concrete stream's `readValues`; its result.
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
    /// s_latestVersion: the format version that new streams write.
    static std::uint64_t latestVersion() noexcept { return s_latestVersion; }

    /// Note the order: the file version comes first. The format version is
    /// taken as given (the factory refuses versions above the latest).
    DataStreamBase(const std::uint64_t& fileVersion, const std::uint64_t& version)
        : m_version(version), m_fileVersion(fileVersion) {}

    /// The format version in force.
    std::uint64_t getVersion() const noexcept { return m_version; }
    /// The version of the client's file.
    std::uint64_t getFileVersion() const noexcept { return m_fileVersion; }
    /// The string mode; StringMode::Default until set.
    StringMode getStringMode() const noexcept { return m_stringMode; }
    /// Sets the string mode, which only the layers above read.
    void setStringMode(StringMode mode) noexcept { m_stringMode = mode; }
    /// A stream can be told to behave as an older format, never a newer one:
    /// a version above the latest is lowered to it.
    void setVersion(const std::uint64_t& version) noexcept { m_version = std::min(version, s_latestVersion); }
    /// Replaces the version of the client's file.
    void setFileVersion(const std::uint64_t& fileVersion) noexcept { m_fileVersion = fileVersion; }

private:
    std::uint64_t m_version;
    std::uint64_t m_fileVersion;
    StringMode m_stringMode = StringMode::Default;
};

} // namespace FileSystem
