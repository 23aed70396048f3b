#include <FileSystem/streams/BinaryDerivedDataStream.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace FileSystem {

namespace {

bool isClassicSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();

} // namespace

// ---- Shared input ---------------------------------------------------------------

bool BinaryDerivedDataIStream::ignoreCharacter(char c) { return isClassicSpace(c); }

std::uint64_t BinaryDerivedDataIStream::keepEncoded(char* data, std::uint64_t size) {
    if (!m_ignoredKnown) {
        for (unsigned c = 0; c < 256; ++c) {
            m_ignored[c] = ignoreCharacter(static_cast<char>(c));
            if (m_ignored[c])
                m_ignoredBelow = c + 1;
        }
        m_ignoredKnown = true;
    }
    if (m_ignoredBelow == 0)
        return size;
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    std::uint64_t i = 0;
    // Encoded text seldom holds ignored characters: blocks without a byte in
    // their range are passed over whole.
    while (i + 32 <= size) {
        unsigned below = 0;
        for (std::uint64_t j = 0; j < 32; ++j)
            below |= bytes[i + j] < m_ignoredBelow ? 1u : 0u;
        if (below != 0)
            break;
        i += 32;
    }
    while (i < size && !m_ignored[bytes[i]])
        ++i;
    std::uint64_t kept = i;
    for (; i < size; ++i)
        if (!m_ignored[bytes[i]])
            data[kept++] = data[i];
    return kept;
}

bool BinaryDerivedDataIStream::do_rawRead(char* data, std::uint64_t size) {
    if (data == nullptr)
        return false;
    // Read, keep what is not ignored, then read again for what was dropped.
    for (std::uint64_t have = 0; have < size;) {
        if (!BinaryDataIStream::do_rawRead(data + have, size - have))
            return false;
        have += keepEncoded(data + have, size - have);
    }
    return true;
}

std::span<const char> BinaryDerivedDataIStream::readPiece(std::size_t size) {
    if (m_piece.size() < size)
        m_piece.resize(size);
    if (!BinaryDerivedDataIStream::do_rawRead(m_piece.data(), size))
        return {};
    return {m_piece.data(), size};
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
        return false;
    if (size > kMax / 2) { // more than any input can hold
        stream().setstate(std::ios::failbit);
        return false;
    }
    auto* out = reinterpret_cast<std::byte*>(data);
    Utilities::BinaryTextEncoderHex::Decoder decoder;
    std::uint64_t written = 0;
    for (std::uint64_t remaining = size * 2; remaining > 0;) {
        const auto piece = readPiece(static_cast<std::size_t>(std::min<std::uint64_t>(remaining, s_pieceSize)));
        if (piece.empty())
            return false;
        remaining -= piece.size();
        // No more than 2 times `size` digits are read, so the bytes fit.
        const auto count = decoder.feed(piece, out + written);
        if (!count) {
            stream().setstate(std::ios::failbit);
            return false;
        }
        written += *count;
    }
    if (written < size) { // white space that the decoder skipped but the stream did not
        stream().setstate(std::ios::failbit);
        return false;
    }
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
    const std::size_t held = m_leftover.size();
    if (held >= size) {
        std::copy_n(m_leftover.begin(), size, out);
        m_leftover.erase(m_leftover.begin(), m_leftover.begin() + static_cast<std::ptrdiff_t>(size));
        return true;
    }
    const std::uint64_t missing = size - held;
    if (missing > kMax / 4 * 3 - 3) { // more than any input can hold
        stream().setstate(std::ios::failbit);
        return false;
    }
    // Whole groups of four characters, enough for the missing bytes. All
    // pieces but the last decode straight into `data`: they hold at least one
    // group less than the read, so their bytes fit. The last piece decodes
    // aside, and what it gives beyond the read waits for the next one.
    std::copy(m_leftover.begin(), m_leftover.end(), out);
    std::byte* const target = out + held;
    Utilities::BinaryTextEncoderBase64::Decoder decoder;
    std::uint64_t written = 0;
    std::size_t last = 0;
    for (std::uint64_t remaining = (missing + 2) / 3 * 4; remaining > 0;) {
        const auto piece = readPiece(static_cast<std::size_t>(std::min<std::uint64_t>(remaining, s_pieceSize)));
        if (piece.empty())
            return false;
        remaining -= piece.size();
        std::optional<std::size_t> count;
        if (remaining > 0) {
            count = decoder.feed(piece, target + written);
        } else {
            const std::size_t room = decoder.maxOutput(piece.size()) + 2;
            if (m_lastPiece.size() < room)
                m_lastPiece.resize(room);
            count = decoder.feed(piece, m_lastPiece.data());
            if (count)
                last = *count + decoder.finish(m_lastPiece.data() + *count);
        }
        if (!count) {
            stream().setstate(std::ios::failbit);
            return false;
        }
        if (remaining > 0)
            written += *count;
    }
    if (written + last < missing) { // padding took the place of digits
        m_leftover.clear();
        stream().setstate(std::ios::failbit);
        return false;
    }
    const std::size_t fromLast = static_cast<std::size_t>(missing - written);
    std::copy_n(m_lastPiece.begin(), fromLast, target + written);
    m_leftover.assign(m_lastPiece.begin() + static_cast<std::ptrdiff_t>(fromLast),
                      m_lastPiece.begin() + static_cast<std::ptrdiff_t>(last));
    return true;
}

} // namespace FileSystem
