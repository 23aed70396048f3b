#include <FileSystem/streams/DataStreamVersionObject.h>

#include <stdexcept>

namespace FileSystem {

DataStreamVersionObject::DataStreamVersionObject(DataStream& stream) : m_stream(stream) {}

DataStreamVersionObject::DataStreamVersionObject(DataOStream& stream, const Utilities::Version<3, int>& version)
    : m_stream(stream), m_version(version) {
    for (std::size_t i = 0; i < 3; ++i) {
        if (!stream.good())
            break;
        const int component = m_version[i];
        stream.do_write(&component, 1);
    }
}

DataStreamVersionObject::DataStreamVersionObject(DataIStream& stream, const Utilities::Version<3, int>& newest,
                                                 const Utilities::Version<3, int>& oldest)
    : DataStreamVersionObject(static_cast<DataStream&>(stream)) {
    for (std::size_t i = 0; i < 3; ++i) {
        if (!stream.good())
            break;
        int component = -1;
        if (stream.do_read(&component, 1))
            m_version[i] = component;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        if (m_version[i] != newest[i]) {
            if (newest[i] < m_version[i])
                throw std::runtime_error("Unsupported Newer Version");
            break;
        }
    }
    for (std::size_t i = 0; i < 3; ++i) {
        if (m_version[i] != oldest[i]) {
            if (m_version[i] < oldest[i])
                throw std::runtime_error("Unsupported Older Version");
            break;
        }
    }
}

} // namespace FileSystem
