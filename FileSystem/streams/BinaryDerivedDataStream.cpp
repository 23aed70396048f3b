#include <FileSystem/streams/BinaryDerivedDataStream.h>

#include <algorithm>
#include <stdexcept>

namespace FileSystem {

namespace {

/// Characters are read in pieces of this many, so that memory follows the input.
constexpr std::uint64_t kReadPiece = 1 << 16;

bool isClassicSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

} // namespace

// ---- Shared input ---------------------------------------------------------------

bool BinaryDerivedDataIStream::ignoreCharacter(char c) { return isClassicSpace(c); }

bool BinaryDerivedDataIStream::do_rawRead(char* data, std::uint64_t size) {
    if (data == nullptr)
        return false;
    std::uint64_t have = 0;
    while (have < size) {
        if (!BinaryDataIStream::do_rawRead(data + have, size - have))
            return false;
        // Keep what is not ignored, then read again for what was dropped.
        const std::uint64_t end = size;
        std::uint64_t kept = have;
        for (std::uint64_t i = have; i < end; ++i)
            if (!ignoreCharacter(data[i]))
                data[kept++] = data[i];
        have = kept;
    }
    return true;
}

int BinaryDerivedDataIStream::do_rawPeek() { throw std::logic_error("Not implmented"); }

// ---- Hexadecimal ---------------------------------------------------------------

bool BinaryHexDataOStream::do_rawWrite(const char* data, std::uint64_t size) {
    if (data == nullptr)
        return true;
    m_text.clear();
    m_encoder.encodeTo(std::span(reinterpret_cast<const std::byte*>(data), static_cast<std::size_t>(size)), m_text);
    return BinaryDataOStream::do_rawWrite(m_text.data(), m_text.size());
}

bool BinaryHexDataIStream::do_rawRead(char* data, std::uint64_t size) {
    if (data == nullptr)
        return true;
    std::vector<std::byte> bytes;
    std::string text;
    for (std::uint64_t remaining = size * 2; remaining > 0;) {
        text.resize(static_cast<std::size_t>(std::min(remaining, kReadPiece)));
        if (!BinaryDerivedDataIStream::do_rawRead(text.data(), text.size()))
            return true; // the failure shows in good()
        const auto decoded = m_encoder.decode(text);
        if (!decoded)
            return true;
        bytes.insert(bytes.end(), decoded->begin(), decoded->end());
        remaining -= text.size();
    }
    std::copy_n(bytes.begin(), std::min<std::size_t>(bytes.size(), static_cast<std::size_t>(size)),
                reinterpret_cast<std::byte*>(data));
    return true;
}

// ---- Base64 --------------------------------------------------------------------

BinaryBase64DataOStream::BinaryBase64DataOStream(BinaryBase64DataOStream&& other) noexcept
    : BinaryDerivedDataOStream(std::move(other)), m_buffer(std::move(other.m_buffer)),
      m_pendingStart(other.m_pendingStart) {
    other.m_buffer.clear();
    other.m_pendingStart = 0;
}

BinaryBase64DataOStream::~BinaryBase64DataOStream() {
    try {
        if (m_pendingStart < m_buffer.size())
            writeEncoded(std::span(m_buffer).subspan(m_pendingStart));
    } catch (...) {
        // Nothing may leave a destructor; the stream stays as it is.
    }
}

bool BinaryBase64DataOStream::writeEncoded(std::span<const std::byte> bytes) {
    m_text.clear();
    if (!m_encoder.encodeTo(bytes, m_text)) {
        failStream();
        return false;
    }
    return BinaryDataOStream::do_rawWrite(m_text.data(), m_text.size());
}

bool BinaryBase64DataOStream::do_rawWrite(const char* data, std::uint64_t size) {
    if (data == nullptr)
        return true;
    const std::span incoming(reinterpret_cast<const std::byte*>(data), static_cast<std::size_t>(size));
    // The rounding looks at the size of this write alone, as the format has it.
    const std::size_t keep = static_cast<std::size_t>(size - size % 3);
    const bool pendingEmpty = m_pendingStart == m_buffer.size();
    bool written = true;
    if (size % 3 == 0) {
        // All waiting bytes and this write go out; the waiting bytes also stay.
        if (pendingEmpty) {
            if (!incoming.empty())
                written = writeEncoded(incoming);
        } else {
            const std::size_t end = m_buffer.size();
            m_buffer.insert(m_buffer.end(), incoming.begin(), incoming.end());
            written = writeEncoded(std::span(m_buffer).subspan(m_pendingStart));
            m_buffer.resize(end);
        }
        return written;
    }
    if (pendingEmpty) {
        m_buffer.clear();
        m_pendingStart = 0;
        if (keep > 0)
            written = writeEncoded(incoming.first(keep));
        m_buffer.assign(incoming.begin() + static_cast<std::ptrdiff_t>(keep), incoming.end());
        return written;
    }
    m_buffer.insert(m_buffer.end(), incoming.begin(), incoming.end());
    if (keep > 0)
        written = writeEncoded(std::span(m_buffer).subspan(m_pendingStart, keep));
    m_pendingStart += keep;
    if (m_pendingStart > 4096 && m_pendingStart * 2 > m_buffer.size()) {
        m_buffer.erase(m_buffer.begin(), m_buffer.begin() + static_cast<std::ptrdiff_t>(m_pendingStart));
        m_pendingStart = 0;
    }
    return written;
}

std::unique_ptr<BinaryDataIStream::AdditionalTransactionData> BinaryBase64DataIStream::startAdditionalTransactionData() {
    auto data = std::make_unique<AdditionalBase64TransactionData>();
    data->leftover = m_leftover;
    return data;
}

void BinaryBase64DataIStream::rollbackAdditionaTransactionData(std::unique_ptr<AdditionalTransactionData>&& data) {
    if (auto* saved = dynamic_cast<AdditionalBase64TransactionData*>(data.get()))
        m_leftover = saved->leftover;
}

bool BinaryBase64DataIStream::do_rawRead(char* data, std::uint64_t size) {
    if (data == nullptr)
        return false;
    auto* out = reinterpret_cast<std::byte*>(data);
    if (m_leftover.size() >= size) {
        std::copy_n(m_leftover.begin(), size, out);
        m_leftover.erase(m_leftover.begin(), m_leftover.begin() + static_cast<std::ptrdiff_t>(size));
        return true;
    }
    const std::uint64_t need = (size - m_leftover.size() + 2) / 3 * 4;
    std::vector<std::byte> decoded;
    Utilities::BinaryTextEncoderBase64::Decoder decoder;
    std::string text;
    for (std::uint64_t remaining = need; remaining > 0;) {
        text.resize(static_cast<std::size_t>(std::min(remaining, kReadPiece)));
        if (!BinaryDerivedDataIStream::do_rawRead(text.data(), text.size()))
            return false;
        if (!decoder.feed(text, decoded))
            return false;
        remaining -= text.size();
    }
    decoder.finish(decoded);
    if (size > m_leftover.size() + decoded.size()) {
        m_leftover.clear();
        stream().setstate(std::ios::failbit);
        return false;
    }
    const std::size_t fromLeftover = m_leftover.size();
    std::copy(m_leftover.begin(), m_leftover.end(), out);
    const std::size_t fromDecoded = static_cast<std::size_t>(size) - fromLeftover;
    std::copy_n(decoded.begin(), fromDecoded, out + fromLeftover);
    m_leftover.assign(decoded.begin() + static_cast<std::ptrdiff_t>(fromDecoded), decoded.end());
    return true;
}

} // namespace FileSystem
