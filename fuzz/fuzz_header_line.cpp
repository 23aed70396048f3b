// A stream that describes itself by its header line: the line, then whatever
// stream it names, on any input.

#include <FileSystem/streams/DataStreamFactory.h>

#include "FuzzProgram.h"

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const Fuzz::Input input = Fuzz::split(bytes, size);
    std::istringstream stream(input.data);
    FileSystem::DataIStreamContainer in = FileSystem::createDataIStreamFromHeaderLine(stream);
    Fuzz::run(in, input.program);
    return 0;
}
