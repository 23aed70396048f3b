#pragma once

// Reading the data of one entry (internal).

#include <zip.h>
#include <zlib.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace FileSystem::detail {

class WinZipAes;

/// The data of an entry, decrypted and inflated.
///
/// WinZip AES entries of the AE-2 kind store no checksum (their HMAC stands
/// for it). The engine of this build checks a checksum on such entries from 20
/// bytes on and so fails every one that 7-Zip writes; AES entries are therefore
/// read raw from the engine and decrypted, verified and inflated here (which is
/// also faster than the engine's own decryption).
class EntryReader {
public:
    /// Opens entry `index` with a password (empty: none, or the engine's default).
    EntryReader(zip_t* archive, zip_uint64_t index, const std::string& password);
    ~EntryReader();
    EntryReader(const EntryReader&) = delete;
    EntryReader& operator=(const EntryReader&) = delete;

    bool isOpen() const noexcept { return m_file != nullptr; }
    /// Up to `size` bytes; 0 at the end, -1 on an error (damaged data, wrong password, bad HMAC).
    std::int64_t read(void* data, std::uint64_t size);

private:
    bool readExactly(unsigned char* data, std::size_t size);
    std::int64_t readDecrypted(unsigned char* data, std::uint64_t size);
    std::int64_t readPlain(void* data, std::uint64_t size);

    zip_file_t* m_file = nullptr;
    std::unique_ptr<WinZipAes> m_aes; ///< set for an entry decrypted here
    std::uint64_t m_remaining = 0;    ///< encrypted bytes still to read
    bool m_verified = false;
    uLong m_checksum = 0;         ///< CRC-32 of the data handed out
    uLong m_expectedChecksum = 0; ///< 0: none to check
    bool m_stored = false;
    z_stream m_zlib{};
    bool m_zlibOpen = false;
    bool m_zlibDone = false;
    std::vector<unsigned char> m_input;
    bool m_inputEnded = false;
};

} // namespace FileSystem::detail
