#pragma once

// Adapters that encrypt every value on its way to another data stream, and
// decrypt it on the way back: each array of values becomes one block of the
// crypter, written as its length (an unsigned 64-bit value) and its bytes.

#include <FileSystem/Export.h>
#include <FileSystem/streams/DataStream.h>
#include <FileSystem/utilities/BinaryCrypter.h>

namespace FileSystem {

/// The crypter that an encrypted adapter uses.
class FILESYSTEM_EXPORT DataStreamEncrypteAdapterBase {
public:
    /// The crypter of adapters made without a choice: Twofish.
    static constexpr Utilities::BinaryCrypterType defaultCrypterType = Utilities::BinaryCrypterType::TwoFish;

    /// With the default crypter.
    DataStreamEncrypteAdapterBase() : DataStreamEncrypteAdapterBase(defaultCrypterType) {}
    /// With the crypter of that kind; an unknown kind leaves no crypter, and
    /// every value then fails.
    explicit DataStreamEncrypteAdapterBase(Utilities::BinaryCrypterType type) : m_crypter(type) {}
    /// Takes the other one's crypter; the other one is left without.
    DataStreamEncrypteAdapterBase(DataStreamEncrypteAdapterBase&&) noexcept = default;
    /// Takes the other one's crypter; the other one is left without.
    DataStreamEncrypteAdapterBase& operator=(DataStreamEncrypteAdapterBase&&) noexcept = default;
    /// Destroys the crypter.
    virtual ~DataStreamEncrypteAdapterBase() = default;

    /// The crypter in use.
    const Utilities::BinaryCrypterContainer& crypter() const noexcept { return m_crypter; }

protected:
    Utilities::BinaryCrypterContainer m_crypter; ///< the crypter in use
};

#define FILESYSTEM_ENCRYPTED_COMMON_OPERATIONS                                                                         \
    std::uint64_t getVersion() const override;                                                                         \
    std::uint64_t getFileVersion() const override;                                                                     \
    StringMode getStringMode() override;                                                                               \
    void seek(std::uint64_t position) override;                                                                        \
    std::uint64_t position() const override;                                                                           \
    bool good() const override;                                                                                        \
    void failStream() override;                                                                                        \
    DataStreamType dataStreamType() override;

/// Writes every array of values, and every run of raw bytes, as one encrypted
/// block on the wrapped stream: the values' bytes in their width on the stream
/// (little-endian), encrypted, then the block's length with the wrapped
/// stream's unsigned 64-bit write and the block with its binary-data write. So
/// each call costs at least 24 bytes on a binary stream with Twofish: write
/// large arrays in one call. A value that does not fit its width fails the
/// wrapped stream. Comments, line ends, indentation and the stream's state go
/// to the wrapped stream as they are, comments unencrypted. The type is always
/// Binary. A Base64 stream is no good home for the blocks: it emits pending
/// bytes twice when a block's size is a multiple of 3; binary, hexadecimal and
/// text streams carry them as they are.
class FILESYSTEM_EXPORT DataOStreamEncryptedAdapter : public DataOStream, public DataStreamEncrypteAdapterBase {
public:
    /// Wraps `stream` (not owned; it must outlive the adapter), encrypting with
    /// the crypter of that kind.
    explicit DataOStreamEncryptedAdapter(DataOStream& stream, Utilities::BinaryCrypterType type = defaultCrypterType)
        : DataStreamEncrypteAdapterBase(type), m_stream(&stream) {}
    /// Takes the other adapter's stream and crypter; the other one is left without a crypter.
    DataOStreamEncryptedAdapter(DataOStreamEncryptedAdapter&&) noexcept = default;

    FILESYSTEM_ENCRYPTED_COMMON_OPERATIONS
    bool do_writeFixed(const unsigned long long* data, std::uint64_t count) override;
    bool do_writeFixed(const long long* data, std::uint64_t count) override;
    bool do_writeFixed(const unsigned int* data, std::uint64_t count) override;
    bool do_writeFixed(const int* data, std::uint64_t count) override;
    bool do_writeFixed(const unsigned short* data, std::uint64_t count) override;
    bool do_writeFixed(const short* data, std::uint64_t count) override;
    bool do_writeFixed(const unsigned char* data, std::uint64_t count) override;
    bool do_writeFixed(const signed char* data, std::uint64_t count) override;
    bool do_write(const DataStreamComment& comment) override;
    bool do_write(const long double* data, std::uint64_t count) override;
    bool do_write(const double* data, std::uint64_t count) override;
    bool do_write(const float* data, std::uint64_t count) override;
    bool do_write(const char32_t* data, std::uint64_t count) override;
    bool do_write(const char16_t* data, std::uint64_t count) override;
    bool do_write(const wchar_t* data, std::uint64_t count) override;
    bool do_write(const unsigned char* data, std::uint64_t count) override;
    bool do_write(const signed char* data, std::uint64_t count) override;
    bool do_write(const char* data, std::uint64_t count) override;
    bool do_write(const bool* data, std::uint64_t count) override;
    bool do_write(const unsigned long long* data, std::uint64_t count) override;
    bool do_write(const unsigned long* data, std::uint64_t count) override;
    bool do_write(const unsigned int* data, std::uint64_t count) override;
    bool do_write(const unsigned short* data, std::uint64_t count) override;
    bool do_write(const long long* data, std::uint64_t count) override;
    bool do_write(const long* data, std::uint64_t count) override;
    bool do_write(const int* data, std::uint64_t count) override;
    bool do_write(const short* data, std::uint64_t count) override;
    bool do_writeEOLSeparator() override;
    /// Encrypts `count` times `elementSize` bytes as they stand in memory and
    /// writes the block's length and the block; `order` goes to the wrapped
    /// stream's binary-data write (None fails the stream before anything is
    /// written). False when the crypter gives no block or the stream fails.
    bool do_writeBinaryData(const std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                            Utilities::Endianness order) override;
    bool do_rawWrite(const char* data, std::uint64_t size) override;
    std::uint64_t do_getWriteIndent() const override;
    void do_setWriteIndent(std::uint64_t indent) override;

    /// The wrapped stream.
    DataOStream* get() const noexcept { return m_stream; }

private:
    template <class T>
    bool writeElements(const T* data, std::uint64_t count);
    DataOStream* m_stream;
};

/// The reading partner of DataOStreamEncryptedAdapter, with the writer's
/// crypter: each call reads one block (its length, then its bytes), decrypts
/// it and takes the values from it, so the reader must call with the same
/// arrays as the writer. A block that does not decrypt to exactly the bytes
/// asked for gives false, and so do a length beyond the input and a wrong
/// crypter; memory grows only with the bytes really read. An array whose read
/// fails leaves the values untouched. Transactions, comments, peeks and the
/// stream's state go to the wrapped stream as they are.
class FILESYSTEM_EXPORT DataIStreamEncryptedAdapter : public DataIStream, public DataStreamEncrypteAdapterBase {
public:
    /// Wraps `stream` (not owned; it must outlive the adapter), decrypting
    /// with the crypter of that kind.
    explicit DataIStreamEncryptedAdapter(DataIStream& stream, Utilities::BinaryCrypterType type = defaultCrypterType)
        : DataStreamEncrypteAdapterBase(type), m_stream(&stream) {}
    /// Takes the other adapter's stream and crypter; the other one is left without a crypter.
    DataIStreamEncryptedAdapter(DataIStreamEncryptedAdapter&&) noexcept = default;

    FILESYSTEM_ENCRYPTED_COMMON_OPERATIONS
    bool startTransaction() override;
    bool rollbackAllTransactions() override;
    bool rollbackLastTransaction() override;
    bool commitLastTransaction() override;
    bool commitAllTransactions() override;
    bool hasActiveTransactions() const override;
    bool do_readFixed(unsigned long long* data, std::uint64_t count) override;
    bool do_readFixed(long long* data, std::uint64_t count) override;
    bool do_readFixed(unsigned int* data, std::uint64_t count) override;
    bool do_readFixed(int* data, std::uint64_t count) override;
    bool do_readFixed(unsigned short* data, std::uint64_t count) override;
    bool do_readFixed(short* data, std::uint64_t count) override;
    bool do_readFixed(unsigned char* data, std::uint64_t count) override;
    bool do_readFixed(signed char* data, std::uint64_t count) override;
    bool do_read(DataStreamComment& comment) override;
    bool do_read(long double* data, std::uint64_t count) override;
    bool do_read(double* data, std::uint64_t count) override;
    bool do_read(float* data, std::uint64_t count) override;
    bool do_read(char32_t* data, std::uint64_t count) override;
    bool do_read(char16_t* data, std::uint64_t count) override;
    bool do_read(wchar_t* data, std::uint64_t count) override;
    bool do_read(unsigned char* data, std::uint64_t count) override;
    bool do_read(signed char* data, std::uint64_t count) override;
    bool do_read(char* data, std::uint64_t count) override;
    bool do_read(bool* data, std::uint64_t count) override;
    bool do_read(unsigned long long* data, std::uint64_t count) override;
    bool do_read(unsigned long* data, std::uint64_t count) override;
    bool do_read(unsigned int* data, std::uint64_t count) override;
    bool do_read(unsigned short* data, std::uint64_t count) override;
    bool do_read(long long* data, std::uint64_t count) override;
    bool do_read(long* data, std::uint64_t count) override;
    bool do_read(int* data, std::uint64_t count) override;
    bool do_read(short* data, std::uint64_t count) override;
    bool do_rawRead(char* data, std::uint64_t size) override;
    /// Reads one block's length and bytes (with `order` for the wrapped
    /// stream's binary-data read), decrypts it and copies it to `data`: false,
    /// with `data` untouched, unless it decrypts to exactly `count` times
    /// `elementSize` bytes.
    bool do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                           Utilities::Endianness order) override;
    int do_rawPeek() override;

    /// The wrapped stream.
    DataIStream* get() const noexcept { return m_stream; }

private:
    template <class T>
    bool readElements(T* data, std::uint64_t count);
    DataIStream* m_stream;
};

#undef FILESYSTEM_ENCRYPTED_COMMON_OPERATIONS

} // namespace FileSystem
