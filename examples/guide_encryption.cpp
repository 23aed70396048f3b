// Encryption: values written through an encrypted adapter and read back; what a crypter does alone.
#include <FileSystem/streams/BinaryDataStream.h>
#include <FileSystem/streams/DataStreamEncryptedAdapter.h>
#include <FileSystem/utilities/BinaryCrypter.h>

#include <iostream>
#include <sstream>
#include <string>

using namespace FileSystem;
using Utilities::BinaryCrypterType;
using Utilities::Endianness;

int main() {
    int failures = 0;
    const auto expect = [&failures](bool ok, const char* what) {
        if (!ok)
            std::cerr << "FAILED: " << what << "\n";
        failures += !ok;
    };

    // Each array of values becomes one Twofish block: its length, then the block.
    std::stringstream file;
    {
        BinaryDataOStream binary(file, 1, Endianness::LittleEndian);
        DataOStreamEncryptedAdapter out(binary); // Twofish unless told otherwise
        const double loads[3] = {1.5, -2.25, 1e6};
        const int steps = 12;
        const char name[] = "bracket";
        expect(out.do_write(loads, 3), "three doubles as one block");
        expect(out.do_write(&steps, 1), "one int as one block");
        expect(out.do_write(name, sizeof name - 1), "text as one block");
    }
    std::cout << "encrypted stream: " << file.str().size() << " bytes, plain text "
              << (file.str().find("bracket") == std::string::npos ? "hidden" : "visible") << "\n";

    // The reader asks for the same arrays in the same order, with the same crypter.
    BinaryDataIStream binary(file, 1, Endianness::LittleEndian);
    DataIStreamEncryptedAdapter in(binary, BinaryCrypterType::TwoFish);
    double loads[3] = {};
    int steps = 0;
    char name[7] = {};
    expect(in.do_read(loads, 3) && loads[1] == -2.25, "doubles back");
    // Asked for as the wrong shape, a block gives false; a transaction lets the reader go back.
    in.startTransaction();
    double wrong = 0;
    expect(!in.do_read(&wrong, 1), "the block holds 4 bytes, not a double");
    in.rollbackLastTransaction();
    expect(in.do_read(&steps, 1) && steps == 12, "the int, after rolling back");
    expect(in.do_read(name, 7) && std::string(name, 7) == "bracket", "text back");
    std::cout << "read back: " << loads[0] << " " << loads[1] << " " << loads[2] << ", " << steps << ", "
              << std::string(name, 7) << "\n";

    // Crypters alone: Blowfish is for text and stops at a zero byte; Twofish keeps any bytes.
    const Utilities::BinaryCrypterContainer blowfish(BinaryCrypterType::BlowFish);
    const std::string secret = "license=site-42";
    const auto block = blowfish.encrypt(std::as_bytes(std::span(secret.data(), secret.size())));
    const auto text = blowfish.decrypt(*block);
    expect(text && std::string(reinterpret_cast<const char*>(text->data()), text->size()) == secret,
           "Blowfish round trip of text");
    std::cout << "Blowfish: " << secret.size() << " bytes of text in a block of " << block->size() << "\n";
    return failures == 0 ? 0 : 1;
}
