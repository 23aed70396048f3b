// The text data stream reader on any input, formatted or not, with comments
// checked or not.

#include <FileSystem/streams/TextDataStream.h>

#include "FuzzProgram.h"

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const Fuzz::Input input = Fuzz::split(bytes, size);
    std::istringstream stream(input.data);
    FileSystem::TextDataIStream in(stream, 1, FileSystem::TextNumberFormat::Canonical, std::locale::classic());
    if (!input.program.empty()) {
        in.setFormatted(input.program[0] & 64);
        in.setCheckComments(input.program[0] & 128);
    }
    Fuzz::run(in, input.program);
    return 0;
}
