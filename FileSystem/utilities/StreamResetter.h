#pragma once

#include <FileSystem/Export.h>

#include <ios>
#include <locale>

namespace Utilities {

/// Saves the format of a standard stream (flags, precision, width, locale and,
/// for a stream with a fill character, the fill) and puts it back exactly at
/// the end of its scope: a flag turned on in between is turned off again, so an
/// operation that formats numbers its own way leaves the caller's stream as it
/// found it.
class FILESYSTEM_EXPORT StreamResetter {
public:
    /// Saves the stream's format; the stream must outlive the resetter.
    explicit StreamResetter(std::ios_base& stream)
        : m_stream(stream), m_flags(stream.flags()), m_precision(stream.precision()), m_width(stream.width()),
          m_locale(stream.getloc()) {
        if (auto* ios = dynamic_cast<std::basic_ios<char>*>(&stream)) {
            m_ios = ios;
            m_fill = ios->fill();
        }
    }
    /// Puts the saved format back.
    virtual ~StreamResetter() {
        if (m_ios) {
            m_ios->fill(m_fill);
            if (m_ios->getloc() != m_locale)
                m_ios->imbue(m_locale);
        } else if (m_stream.getloc() != m_locale) {
            m_stream.imbue(m_locale);
        }
        m_stream.precision(m_precision);
        m_stream.width(m_width);
        m_stream.flags(m_flags);
    }
    ///@{
    /// One resetter per saved state: not copied.
    StreamResetter(const StreamResetter&) = delete;
    StreamResetter& operator=(const StreamResetter&) = delete;
    ///@}

private:
    std::ios_base& m_stream;
    std::basic_ios<char>* m_ios = nullptr;
    std::ios_base::fmtflags m_flags;
    std::streamsize m_precision;
    std::streamsize m_width;
    std::locale m_locale;
    char m_fill = ' ';
};

/// Imbues a locale on a stream (and its buffer) unless the stream already has it.
inline void imbueIfNeeded(std::basic_ios<char>& stream, const std::locale& locale) {
    if (stream.getloc() != locale)
        stream.imbue(locale);
}

} // namespace Utilities
