#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/streams/DataStreamBase.h>
#include <FileSystem/streams/DataStreamTransactions.h>
#include <FileSystem/utilities/Endianness.h>

#include <istream>
#include <memory>
#include <ostream>

namespace FileSystem {

/// The state of the binary streams: the byte order of their values. With
/// LittleEndian (2) multi-byte values stand little-endian on the stream; with
/// any other value, None included, big-endian.
class FILESYSTEM_EXPORT BinaryDataStreamBase : public DataStreamBase {
public:
    /// The versions as DataStreamBase takes them, and the byte order of the values.
    BinaryDataStreamBase(const std::uint64_t& fileVersion, const std::uint64_t& version, Utilities::Endianness endianness)
        : DataStreamBase(fileVersion, version), m_endianness(endianness) {}

    /// The byte order of multi-byte values on the stream.
    Utilities::Endianness getEndianness() const noexcept { return m_endianness; }
    /// Changes the byte order of the values that follow; a reader must use the writer's.
    void setEndianness(Utilities::Endianness endianness) noexcept { m_endianness = endianness; }

private:
    Utilities::Endianness m_endianness;
};

/// Values as raw fixed-width bytes, one after another, with no tags, lengths
/// or padding. Every value reaches the standard stream through `do_rawWrite`,
/// one call per element, so derived streams can re-encode the bytes there.
class FILESYSTEM_EXPORT BinaryDataOStream : public DataOStreamBase<BinaryDataOStream, DataOStream>,
                                            public BinaryDataStreamBase {
public:
    using DataOStreamBase::do_write;

    /// A writer on `stream` (not owned; it must outlive the writer) with the
    /// versions and byte order given. Writes nothing yet.
    BinaryDataOStream(std::ostream& stream, const std::uint64_t& fileVersion, const std::uint64_t& version,
                      Utilities::Endianness endianness);
    /// The same with the latest format version.
    BinaryDataOStream(std::ostream& stream, const std::uint64_t& fileVersion, Utilities::Endianness endianness);
    /// Takes over the other writer's standard stream and state.
    BinaryDataOStream(BinaryDataOStream&&) = default;

    std::uint64_t getVersion() const override { return DataStreamBase::getVersion(); }
    std::uint64_t getFileVersion() const override { return DataStreamBase::getFileVersion(); }
    StringMode getStringMode() override { return DataStreamBase::getStringMode(); }
    void seek(std::uint64_t position) override;
    std::uint64_t position() const override;
    bool good() const override;
    void failStream() override;
    DataStreamType dataStreamType() override { return DataStreamType::Binary; }

    /// Comments have no representation in binary form.
    bool do_write(const DataStreamComment& comment) override;
    bool do_writeEOLSeparator() override { return true; }
    bool do_writeBinaryData(const std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                            Utilities::Endianness order) override;
    bool do_rawWrite(const char* data, std::uint64_t size) override;
    std::uint64_t do_getWriteIndent() const override { return 0; }
    void do_setWriteIndent(std::uint64_t) override {}

    /// Each element in its width on the stream (see DataStream.h), in the
    /// stream's byte order, through do_rawWrite. A value that does not fit its
    /// width fails the stream; false then, or when a write fails.
    template <class T>
    bool writeValues(const T* data, std::uint64_t count);
    /// The same as writeValues: fixed and plain forms have the same bytes here.
    template <class T>
    bool writeFixedValues(const T* data, std::uint64_t count) {
        return writeValues(data, count);
    }

protected:
    /// The standard stream written to.
    std::ostream& stream() const noexcept { return *m_stream; }
    /// do_rawWrite of bytes.
    bool do_rawWrite(const std::byte* data, std::uint64_t size) {
        return do_rawWrite(reinterpret_cast<const char*>(data), size);
    }

private:
    std::ostream* m_stream;
};

/// The reading partner of BinaryDataOStream. A reader asks for exactly what the
/// writer wrote, in the same order.
class FILESYSTEM_EXPORT BinaryDataIStream : public DataIStreamBase<BinaryDataIStream, DataIStream>,
                                            public BinaryDataStreamBase {
public:
    using DataIStreamBase::do_read;

    /// What a derived stream must bring back when a transaction is rolled back.
    struct AdditionalTransactionData {
        /// Derived streams keep their own data in a derived record.
        virtual ~AdditionalTransactionData() = default;
    };

    /// A reader on `stream` (not owned; it must outlive the reader) with the
    /// versions and byte order of the writer. Reads nothing yet.
    BinaryDataIStream(std::istream& stream, const std::uint64_t& fileVersion, const std::uint64_t& version,
                      Utilities::Endianness endianness);
    /// The same with the latest format version.
    BinaryDataIStream(std::istream& stream, const std::uint64_t& fileVersion, Utilities::Endianness endianness);
    /// Takes over the other reader's standard stream, state and open transactions.
    BinaryDataIStream(BinaryDataIStream&&) = default;

    std::uint64_t getVersion() const override { return DataStreamBase::getVersion(); }
    std::uint64_t getFileVersion() const override { return DataStreamBase::getFileVersion(); }
    StringMode getStringMode() override { return DataStreamBase::getStringMode(); }
    void seek(std::uint64_t position) override;
    std::uint64_t position() const override;
    bool good() const override;
    void failStream() override;
    DataStreamType dataStreamType() override { return DataStreamType::Binary; }

    bool startTransaction() override;
    bool rollbackAllTransactions() override;
    bool rollbackLastTransaction() override;
    bool commitLastTransaction() override;
    bool commitAllTransactions() override;
    bool hasActiveTransactions() const override;

    /// Reads nothing and leaves the comment alone.
    bool do_read(DataStreamComment& comment) override;
    bool do_rawRead(char* data, std::uint64_t size) override;
    bool do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                           Utilities::Endianness order) override;
    int do_rawPeek() override;

    /// Each element from its width on the stream, in the stream's byte order,
    /// through do_rawRead; false when a read fails (the input ends first).
    template <class T>
    bool readValues(T* data, std::uint64_t count);
    /// The same as readValues: fixed and plain forms have the same bytes here.
    template <class T>
    bool readFixedValues(T* data, std::uint64_t count) {
        return readValues(data, count);
    }

protected:
    /// The standard stream read from.
    std::istream& stream() const noexcept { return *m_stream; }
    /// do_rawRead into bytes.
    bool do_rawRead(std::byte* data, std::uint64_t size) { return do_rawRead(reinterpret_cast<char*>(data), size); }

    /// What to save when a transaction starts; nothing by default.
    virtual std::unique_ptr<AdditionalTransactionData> startAdditionalTransactionData();
    /// Brings back what was saved; does nothing by default.
    virtual void rollbackAdditionaTransactionData(std::unique_ptr<AdditionalTransactionData>&& data);

private:
    struct Restore;
    std::istream* m_stream;
    DataIStreamTransactionStack<std::unique_ptr<AdditionalTransactionData>> m_transactions;
};

} // namespace FileSystem
