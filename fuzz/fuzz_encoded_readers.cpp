// The hexadecimal and Base64 stream readers on any input, in either byte order.

#include <FileSystem/streams/BinaryDerivedDataStream.h>

#include "FuzzProgram.h"

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const Fuzz::Input input = Fuzz::split(bytes, size);
    const auto order = size % 2 ? Utilities::Endianness::BigEndian : Utilities::Endianness::LittleEndian;
    {
        std::istringstream stream(input.data);
        FileSystem::BinaryHexDataIStream in(stream, 1, order);
        Fuzz::run(in, input.program);
    }
    {
        std::istringstream stream(input.data);
        FileSystem::BinaryBase64DataIStream in(stream, 1, order);
        Fuzz::run(in, input.program);
    }
    return 0;
}
