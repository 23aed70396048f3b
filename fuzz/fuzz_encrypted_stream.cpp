// The encrypted stream reader on any input, with each crypter, over a binary
// stream in either byte order.

#include <FileSystem/streams/BinaryDataStream.h>
#include <FileSystem/streams/DataStreamEncryptedAdapter.h>

#include "FuzzProgram.h"

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const Fuzz::Input input = Fuzz::split(bytes, size);
    const auto order = size % 2 ? Utilities::Endianness::BigEndian : Utilities::Endianness::LittleEndian;
    for (auto type : {Utilities::BinaryCrypterType::TwoFish, Utilities::BinaryCrypterType::BlowFish,
                      Utilities::BinaryCrypterType::None}) {
        std::istringstream stream(input.data);
        FileSystem::BinaryDataIStream binary(stream, 1, order);
        FileSystem::DataIStreamEncryptedAdapter in(binary, type);
        Fuzz::run(in, input.program);
    }
    return 0;
}
