#pragma once

// Streams made by type, and the header line that makes a stream
// self-describing: "TQBS 1 7 ?" and a line feed (magic, format version, file
// version, and for all but text an endianness mark) ahead of the data.

#include <FileSystem/Export.h>
#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/streams/DataStreamContainer.h>

#include <istream>
#include <ostream>

namespace FileSystem {

///@{
/// A little-endian output stream of the type with the newest format version,
/// writing to `stream` (which must outlive it); nothing is written yet. Text
/// streams write numbers canonically in the classic locale, unformatted.
/// Throws std::logic_error("Not implemented") for None or an unknown type.
FILESYSTEM_EXPORT DataOStreamContainer createDataOStream(DataStreamType type, const std::uint64_t& fileVersion,
                                                         std::ostream& stream);
FILESYSTEM_EXPORT DataOStreamContainer createDataOStream(DataStreamType type, const std::uint64_t& fileVersion,
                                                         KVofstreamBinary& stream);
///@}

///@{
/// Writes the header line (in the classic locale, whatever the stream's), then
/// makes the stream as createDataOStream does. Type None writes nothing and
/// gives an empty container; an unknown type throws std::logic_error("Not
/// implemented") before anything is written. A failed write of the line shows
/// in the container's `good()`.
FILESYSTEM_EXPORT DataOStreamContainer createDataOStreamWithHeaderLine(DataStreamType type,
                                                                       const std::uint64_t& fileVersion,
                                                                       std::ostream& stream);
FILESYSTEM_EXPORT DataOStreamContainer createDataOStreamWithHeaderLine(DataStreamType type,
                                                                       const std::uint64_t& fileVersion,
                                                                       KVofstreamBinary& stream);
///@}

///@{
/// An input stream of the type with the versions and byte order given
/// (text streams ignore the order), reading from `stream` (which must outlive
/// it); nothing is read yet. An empty container for None, an unknown type or a
/// format version newer than DataStreamBase::latestVersion(), which this
/// library cannot read. Throws nothing.
FILESYSTEM_EXPORT DataIStreamContainer createDataIStream(DataStreamType type, const std::uint64_t& fileVersion,
                                                         const std::uint64_t& version, std::istream& stream,
                                                         Utilities::Endianness endianness);
FILESYSTEM_EXPORT DataIStreamContainer createDataIStream(DataStreamType type, const std::uint64_t& fileVersion,
                                                         const std::uint64_t& version, KVifstreamBinary& stream,
                                                         Utilities::Endianness endianness);
///@}

///@{
/// Reads the header line and makes the stream it describes, positioned at the
/// data behind the line; a last field "B" means big-endian, anything else
/// little-endian. A line that makes no sense (also one longer than 4096
/// characters, one with a number that does not fit 64 bits, or one that names
/// a newer format) gives an empty container; the line is consumed either way.
/// A number field that is missing or no number counts as 0. Throws nothing.
FILESYSTEM_EXPORT DataIStreamContainer createDataIStreamFromHeaderLine(std::istream& stream);
FILESYSTEM_EXPORT DataIStreamContainer createDataIStreamFromHeaderLine(KVifstreamBinary& stream);
///@}

/// The type of a magic or type word of the header line ("TQBS", "Binary", ...); None for others.
FILESYSTEM_EXPORT DataStreamType dataStreamTypeFromString(const std::string& word);

} // namespace FileSystem
