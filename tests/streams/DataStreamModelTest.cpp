#include <FileSystem/streams/DataStreamBase.h>
#include <FileSystem/streams/DataStreamTransactions.h>
#include <FileSystem/streams/DataStreamVersionObject.h>

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

using namespace FileSystem;
using Utilities::Version;

namespace {

// A minimal pair of concrete streams over the model: every element is its
// bytes in host order, with the widths of the stream.
template <class T>
auto onStream(T value) {
    if constexpr (std::is_same_v<T, long double>)
        return static_cast<double>(value);
    else if constexpr (std::is_same_v<T, wchar_t>)
        return static_cast<char16_t>(value);
    else
        return value;
}

class TestOStream : public DataOStreamBase<TestOStream>, public DataStreamBase {
public:
    using DataOStreamBase::do_write;
    explicit TestOStream(std::ostream& stream) : DataStreamBase(7, latestVersion()), m_stream(stream) {}

    template <class T>
    bool writeFixedValues(const T* data, std::uint64_t count) { return writeValues(data, count); }
    template <class T>
    bool writeValues(const T* data, std::uint64_t count) {
        for (std::uint64_t i = 0; i < count; ++i) {
            const auto value = onStream(data[i]);
            if (!do_rawWrite(reinterpret_cast<const char*>(&value), sizeof value))
                return false;
        }
        return true;
    }

    std::uint64_t getVersion() const override { return DataStreamBase::getVersion(); }
    std::uint64_t getFileVersion() const override { return DataStreamBase::getFileVersion(); }
    StringMode getStringMode() override { return DataStreamBase::getStringMode(); }
    void seek(std::uint64_t position) override { m_stream.seekp(std::streamoff(position)); }
    std::uint64_t position() const override { return std::uint64_t(m_stream.tellp()); }
    bool good() const override { return m_stream.rdstate() == 0; }
    void failStream() override { m_stream.clear(std::ios::failbit); }
    DataStreamType dataStreamType() override { return DataStreamType::Binary; }
    bool do_write(const DataStreamComment&) override { return true; }
    bool do_writeEOLSeparator() override { return true; }
    bool do_writeBinaryData(const std::byte* data, std::uint64_t count, std::uint64_t size, Utilities::Endianness) override {
        return do_rawWrite(reinterpret_cast<const char*>(data), count * size);
    }
    bool do_rawWrite(const char* data, std::uint64_t size) override {
        m_stream.write(data, std::streamsize(size));
        return good();
    }
    std::uint64_t do_getWriteIndent() const override { return 0; }
    void do_setWriteIndent(std::uint64_t) override {}

private:
    std::ostream& m_stream;
};

class TestIStream : public DataIStreamBase<TestIStream>, public DataStreamBase {
public:
    using DataIStreamBase::do_read;
    explicit TestIStream(std::istream& stream) : DataStreamBase(7, latestVersion()), m_stream(stream) {}

    template <class T>
    bool readFixedValues(T* data, std::uint64_t count) { return readValues(data, count); }
    template <class T>
    bool readValues(T* data, std::uint64_t count) {
        for (std::uint64_t i = 0; i < count; ++i) {
            decltype(onStream(T{})) value{};
            if (!do_rawRead(reinterpret_cast<char*>(&value), sizeof value))
                return false;
            data[i] = static_cast<T>(value);
        }
        return true;
    }

    bool startTransaction() override { return m_transactions.start(m_stream, ++m_started); }
    bool rollbackAllTransactions() override { return m_transactions.rollbackAll(m_stream, Restore{this}); }
    bool rollbackLastTransaction() override { return m_transactions.rollbackLast(m_stream, Restore{this}); }
    bool commitLastTransaction() override { return m_transactions.commitLast(); }
    bool commitAllTransactions() override { return m_transactions.commitAll(); }
    bool hasActiveTransactions() const override { return m_transactions.active(); }

    std::uint64_t getVersion() const override { return DataStreamBase::getVersion(); }
    std::uint64_t getFileVersion() const override { return DataStreamBase::getFileVersion(); }
    StringMode getStringMode() override { return DataStreamBase::getStringMode(); }
    void seek(std::uint64_t position) override { m_stream.seekg(std::streamoff(position)); }
    std::uint64_t position() const override { return std::uint64_t(m_stream.tellg()); }
    bool good() const override { return m_stream.rdstate() == 0; }
    void failStream() override { m_stream.clear(std::ios::failbit); }
    DataStreamType dataStreamType() override { return DataStreamType::Binary; }
    bool do_read(DataStreamComment&) override { return true; }
    bool do_rawRead(char* data, std::uint64_t size) override {
        m_stream.read(data, std::streamsize(size));
        return good();
    }
    bool do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t size, Utilities::Endianness) override {
        return do_rawRead(reinterpret_cast<char*>(data), count * size);
    }
    int do_rawPeek() override { return m_stream.peek(); }

    std::vector<int> restored; ///< the extra data that rollbacks handed back

private:
    struct Restore {
        TestIStream* stream;
        void operator()(int extra) const { stream->restored.push_back(extra); }
    };
    std::istream& m_stream;
    DataIStreamTransactionStack<int> m_transactions;
    int m_started = 0;
};

std::string bytesOf(const std::stringstream& stream) { return stream.str(); }

} // namespace

TEST(DataStreamModel, VersionsOfTheState) {
    std::stringstream buffer;
    TestOStream out(buffer);
    EXPECT_EQ(out.getVersion(), DataStreamBase::s_latestVersion);
    EXPECT_EQ(out.getFileVersion(), 7u);
    EXPECT_EQ(out.getStringMode(), StringMode::Default);
    out.setVersion(99);
    EXPECT_EQ(out.getVersion(), DataStreamBase::latestVersion());
    out.setVersion(0);
    EXPECT_EQ(out.getVersion(), 0u);
    out.setFileVersion(99);
    EXPECT_EQ(out.getFileVersion(), 99u);
    out.setStringMode(StringMode(5));
    EXPECT_EQ(out.getStringMode(), StringMode(5));
}

TEST(DataStreamModel, IntegerFormsUseTheFixedWidthsOfTheStream) {
    std::stringstream buffer;
    TestOStream out(buffer);
    const long longs[] = {-2, 0x7FFFFFFF};
    EXPECT_TRUE(out.do_write(longs, 2));
    EXPECT_EQ(bytesOf(buffer).size(), 8u); // four bytes each, whatever the host's long
    const unsigned long ulong = 0xFFFFFFFFul;
    EXPECT_TRUE(out.do_write(&ulong, 1));
    const char text[] = "ab";
    EXPECT_TRUE(out.do_write(text, 2)); // through the signed char form
    const wchar_t wide = L'\u00e9';
    EXPECT_TRUE(out.do_write(&wide, 1));
    EXPECT_EQ(bytesOf(buffer).size(), 16u);

    std::stringstream readBuffer(bytesOf(buffer));
    TestIStream in(readBuffer);
    long backLongs[2] = {};
    unsigned long backUlong = 0;
    char backText[2] = {};
    wchar_t backWide = 0;
    EXPECT_TRUE(in.do_read(backLongs, 2));
    EXPECT_TRUE(in.do_read(&backUlong, 1));
    EXPECT_TRUE(in.do_read(backText, 2));
    EXPECT_TRUE(in.do_read(&backWide, 1));
    EXPECT_EQ(backLongs[0], -2);
    EXPECT_EQ(backLongs[1], 0x7FFFFFFF);
    EXPECT_EQ(backUlong, 0xFFFFFFFFul);
    EXPECT_EQ(std::string(backText, 2), "ab");
    EXPECT_EQ(backWide, L'\u00e9');
    long beyond = 0;
    EXPECT_FALSE(in.do_read(&beyond, 1));

    // A long that needs more than 32 bits fails the stream; those before it are written.
    std::stringstream narrow;
    TestOStream narrowOut(narrow);
    const long tooWide[] = {1, 2, 0x100000000L, 4};
    EXPECT_FALSE(narrowOut.do_write(tooWide, 4));
    EXPECT_FALSE(narrowOut.good());
    EXPECT_EQ(bytesOf(narrow).size(), 8u);
    EXPECT_TRUE(narrowOut.do_write(tooWide, 0));
}

TEST(DataStreamModel, VersionObjectStampsAndGates) {
    std::stringstream buffer;
    TestOStream out(buffer);
    DataStreamVersionObject stamp(out, Version<3, int>{2, 5, 1});
    EXPECT_EQ(stamp.version(), (Version<3, int>{2, 5, 1}));
    EXPECT_EQ(bytesOf(buffer).size(), 12u); // three ints

    const auto read = [&](const Version<3, int>& newest, const Version<3, int>& oldest) {
        std::stringstream in(bytesOf(buffer));
        TestIStream stream(in);
        return Version<3, int>(DataStreamVersionObject(stream, newest, oldest));
    };
    EXPECT_EQ(read({2, 5, 1}, {2, 5, 1}), (Version<3, int>{2, 5, 1}));
    EXPECT_EQ(read({3, 0, 0}, {1, 9, 9}), (Version<3, int>{2, 5, 1}));
    EXPECT_THROW(
        try { read({2, 5, 0}, {1, 0, 0}); } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "Unsupported Newer Version");
            throw;
        },
        std::runtime_error);
    EXPECT_THROW(
        try { read({9, 0, 0}, {2, 5, 2}); } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "Unsupported Older Version");
            throw;
        },
        std::runtime_error);
    // Newer is tested first, even when the version is also too old.
    EXPECT_THROW(
        try { read({1, 0, 0}, {3, 0, 0}); } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "Unsupported Newer Version");
            throw;
        },
        std::runtime_error);

    std::stringstream exhausted("\x01");
    TestIStream empty(exhausted);
    try {
        DataStreamVersionObject gate(empty, {1, 0, 0}, {0, 0, 0});
        FAIL() << "an exhausted stream must not pass";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Unsupported Older Version");
    }
}

TEST(DataStreamModel, TransactionsRollBackAndRepair) {
    std::stringstream buffer;
    TestOStream out(buffer);
    const int values[] = {10, 20, 30};
    out.do_write(values, 3);

    std::stringstream inBuffer(bytesOf(buffer));
    TestIStream in(inBuffer);
    int value = 0;
    EXPECT_TRUE(in.commitLastTransaction()); // nothing open: still true
    EXPECT_TRUE(in.startTransaction());
    EXPECT_TRUE(in.hasActiveTransactions());
    EXPECT_TRUE(in.do_read(&value, 1));
    EXPECT_TRUE(in.startTransaction());
    int rest[5] = {};
    EXPECT_FALSE(in.do_read(rest, 5)); // runs off the end
    EXPECT_FALSE(in.good());
    EXPECT_TRUE(in.rollbackLastTransaction());
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.restored, std::vector<int>{2});
    EXPECT_TRUE(in.do_read(&value, 1));
    EXPECT_EQ(value, 20);
    EXPECT_TRUE(in.rollbackAllTransactions());
    EXPECT_FALSE(in.hasActiveTransactions());
    EXPECT_TRUE(in.do_read(&value, 1));
    EXPECT_EQ(value, 10);

    // With no transaction open a rollback still clears a stream that hit the end.
    int all[4] = {};
    EXPECT_FALSE(in.do_read(all, 4));
    EXPECT_TRUE(in.rollbackLastTransaction());
    EXPECT_TRUE(in.good());

    // A bad stream cannot be repaired: false, and the transactions stay.
    in.seek(0);
    EXPECT_TRUE(in.startTransaction());
    inBuffer.setstate(std::ios::badbit);
    EXPECT_FALSE(in.rollbackLastTransaction());
    EXPECT_FALSE(in.rollbackAllTransactions());
    EXPECT_TRUE(in.hasActiveTransactions());
    EXPECT_TRUE(in.commitAllTransactions());
    EXPECT_FALSE(in.hasActiveTransactions());
}
