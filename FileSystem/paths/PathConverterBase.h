#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/Path.h>

#include <algorithm>
#include <string>

namespace FileSystem {

/// A string converter that passes the text on unchanged: paths are UTF-8 on
/// both sides.
struct FILESYSTEM_EXPORT TrivialStringConverter {
    /// The text itself.
    static std::string convert(const std::string& text) { return text; }
};

/// The one gate between the KVL form of a path (UTF-8, forward slashes, no
/// long-path prefix), used inside the library, and the form that the operating
/// system takes. Both directions are text operations that cannot fail; only
/// the absolute form asks for the current directory.
///
/// `platform` 1 is Windows, 2 the Unix family; `longPaths` 1 adds the long-path
/// treatment. `FromConverter` turns the system's text into UTF-8 on the way
/// up, `ToConverter` UTF-8 into the system's text on the way down.
template <int platform, int longPaths, class FromConverter, class ToConverter>
class PathConverterBase {
    static_assert(platform == 1 || platform == 2, "platform is 1 (Windows) or 2 (Unix family)");
    static_assert(longPaths == 0 || longPaths == 1, "longPaths is 0 or 1");

public:
    /// Turns a path in the system's form into the KVL form: forward slashes
    /// and, for Windows, no long prefix.
    static std::string toKVLPath(const std::string& systemPath) {
        std::string path = FromConverter::convert(systemPath);
        if constexpr (platform == 1) {
            if (longPaths == 1 || Path::UNCPrefixLength(path) >= 4)
                path = Path::stripUNCPrefix(path);
        }
        return Path::makeForwardSlashes(path);
    }

    /// Turns a path in the KVL form into the system's form: absolute and
    /// normalised against the current directory unless `keepRelative` asks
    /// otherwise. Windows gets backslashes, and with `longPaths` the long prefix
    /// (`\\?\C:\a`, `\\?\UNC\host\share`); the Unix family gets forward
    /// slashes only, and with `longPaths` a network path on a share of this
    /// computer becomes the local path of the share.
    ///
    /// The Unix family's forms differ from the Windows forms in one deliberate
    /// point: their normalisation never changes a name (see
    /// Path::normaliseForSystem), as the text operations of Path do for names
    /// that begin with dots.
    static std::string fromKVLPath(const std::string& kvlPath, bool keepRelative) {
        std::string path;
        if constexpr (platform == 2) {
            path = normalised(kvlPath, keepRelative);
            std::replace(path.begin(), path.end(), '\\', '/');
            if constexpr (longPaths == 1) {
                if (Path::UNCPrefixLength(path) >= 2 || Path::isNFSPath(path))
                    path = Path::convertFromUNCPath(path);
            }
        } else if (longPaths == 0 || keepRelative) {
            path = toWindowsSeparators(normalised(kvlPath, keepRelative));
        } else {
            path = withLongPrefix(toWindowsSeparators(normalised(kvlPath, false)));
        }
        return ToConverter::convert(path);
    }

private:
    /// The first step of every conversion down: absolute, without redundant segments.
    static std::string normalised(const std::string& path, bool keepRelative) {
        if (keepRelative)
            return path;
        if constexpr (platform == 2)
            return Path::normaliseForSystem(path);
        else
            return Path::removeRedundentRelativeSegments(Path::makePathAbsolute(path));
    }

    static std::string toWindowsSeparators(std::string path) {
        std::replace(path.begin(), path.end(), '/', '\\');
        if (!path.empty() && path.back() == ':')
            path += '\\'; // "C:" names the drive's root
        return path;
    }

    static std::string withLongPrefix(const std::string& path) {
        const std::size_t prefix = Path::UNCPrefixLength(path);
        std::string result;
        if (prefix < 4)
            result = prefix >= 2 ? "\\\\?\\UNC" : "\\\\?\\";
        result.append(path, prefix >= 2 ? 1 : 0);
        if (!result.empty() && result.back() == ':')
            result += '\\';
        return result;
    }
};

/// The Windows forms of a path, short and long (with the `\\?\` prefix).
///@{
using WindowsPathConverter = PathConverterBase<1, 0, TrivialStringConverter, TrivialStringConverter>;
using WindowsLongPathConverter = PathConverterBase<1, 1, TrivialStringConverter, TrivialStringConverter>;
///@}
/// The forms of a path on the Unix family, short and long (network paths on
/// shares of this computer made local).
///@{
using UnixPathConverter = PathConverterBase<2, 0, TrivialStringConverter, TrivialStringConverter>;
using UnixLongPathConverter = PathConverterBase<2, 1, TrivialStringConverter, TrivialStringConverter>;
///@}

#if defined(_WIN32)
using PathConverter = WindowsPathConverter;
using LongPathConverter = WindowsLongPathConverter;
#else
/// The converters of this build: the short form, and the long form that the
/// file operations use on the way to the system.
///@{
using PathConverter = UnixPathConverter;
using LongPathConverter = UnixLongPathConverter;
///@}
#endif

/// The form in which a path of the library reaches the system: the long form,
/// absolute and normalised against the current directory.
inline std::string toSystemPath(const std::string& path) { return LongPathConverter::fromKVLPath(path, false); }

} // namespace FileSystem
