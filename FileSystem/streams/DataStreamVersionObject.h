#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/streams/DataStream.h>
#include <FileSystem/utilities/Version.h>

namespace FileSystem {

/// Stamps a block of a stream with a three-part version, or reads the stamp
/// and refuses versions outside what the reader accepts.
class FILESYSTEM_EXPORT DataStreamVersionObject {
public:
    /// Writes the three components as `int` values (as far as the stream stays
    /// good); a failure shows in the stream's `good()`, nothing is thrown.
    DataStreamVersionObject(DataOStream& stream, const Utilities::Version<3, int>& version);
    /// Reads up to three components and gates them: a version above `newest`
    /// throws std::runtime_error("Unsupported Newer Version"), one below `oldest`
    /// "Unsupported Older Version". Components that cannot be read stay -1, so
    /// an exhausted stream reads as older than any real version.
    DataStreamVersionObject(DataIStream& stream, const Utilities::Version<3, int>& newest,
                            const Utilities::Version<3, int>& oldest);
    /// Does nothing to the stream.
    virtual ~DataStreamVersionObject() = default;

    ///@{
    /// The version written, or the one read (components not read stay -1).
    const Utilities::Version<3, int>& version() const noexcept { return m_version; }
    operator const Utilities::Version<3, int>&() const noexcept { return m_version; }
    ///@}

private:
    explicit DataStreamVersionObject(DataStream& stream);

    DataStream& m_stream;
    Utilities::Version<3, int> m_version;
};

} // namespace FileSystem
