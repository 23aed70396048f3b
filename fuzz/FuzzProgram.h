#pragma once

// Splits a fuzz input into a short program of read operations and the data
// the operations read, and runs the program on an input data stream.

#include <FileSystem/streams/DataStream.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Fuzz {

struct Input {
    std::string program;
    std::string data;
};

/// The first byte gives the program's length (up to 63), then the program, then the data.
inline Input split(const std::uint8_t* bytes, std::size_t size) {
    Input input;
    if (size == 0)
        return input;
    const std::size_t length = std::min<std::size_t>(bytes[0] & 63, size - 1);
    input.program.assign(reinterpret_cast<const char*>(bytes + 1), length);
    input.data.assign(reinterpret_cast<const char*>(bytes + 1 + length), size - 1 - length);
    return input;
}

/// Runs each operation of the program in turn (twice over), whatever the results.
inline void run(FileSystem::DataIStream& in, const std::string& program) {
    using Utilities::Endianness;
    for (int pass = 0; pass < 2; ++pass) {
        for (char op : program) {
            const unsigned count = (static_cast<unsigned char>(op) >> 5) + 1; // 1 to 8
            switch (op & 31) {
            case 0: { int v[8]; in.do_read(v, count); break; }
            case 1: { double v[8]; in.do_read(v, count); break; }
            case 2: { float v[8]; in.do_read(v, count); break; }
            case 3: { bool v[8]; in.do_read(v, count); break; }
            case 4: { char v[8]; in.do_read(v, count); break; }
            case 5: { FileSystem::DataStreamComment c; in.do_read(c); break; }
            case 6: { wchar_t v[8]; in.do_read(v, count); break; }
            case 7: { char32_t v[8]; in.do_read(v, count); break; }
            case 8: { long long v[8]; in.do_readFixed(v, count); break; }
            case 9: { unsigned short v[8]; in.do_readFixed(v, count); break; }
            case 10: { signed char v[8]; in.do_readFixed(v, count); break; }
            case 11: { unsigned long v[8]; in.do_read(v, count); break; }
            case 12: { long double v[8]; in.do_read(v, count); break; }
            case 13: { std::byte v[64]; in.do_readBinaryData(v, count, 8, Endianness::LittleEndian); break; }
            case 14: { std::byte v[64]; in.do_readBinaryData(v, count, 8, Endianness::BigEndian); break; }
            case 15: in.startTransaction(); break;
            case 16: in.rollbackLastTransaction(); break;
            case 17: in.commitLastTransaction(); break;
            case 18: in.rollbackAllTransactions(); break;
            case 19: { char v[8]; in.do_rawRead(v, count); break; }
            case 20: { unsigned int v[8]; in.do_readFixed(v, count); break; }
            case 21: { short v[8]; in.do_read(v, count); break; }
            case 22: { char16_t v[8]; in.do_read(v, count); break; }
            default: { unsigned long long v[8]; in.do_readFixed(v, count); break; }
            }
        }
    }
}

} // namespace Fuzz
