#pragma once

// What a writer has added and not committed yet (internal).

#include <FileSystem/zip/ZipArchive.h>
#include <FileSystem/zip/detail/Spool.h>

#include <cstdint>
#include <map>
#include <memory>
#include <utility>

namespace FileSystem {

/// The spool of the adds, and where each entry added since the last commit
/// lies (by its index in the engine).
struct ZipArchive::WriteState {
    std::shared_ptr<detail::Spool> spool;
    std::map<std::uint64_t, std::pair<std::shared_ptr<detail::Spool>, detail::SpooledEntry>> entries;
};

} // namespace FileSystem
