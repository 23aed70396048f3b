// Backups and compressed files: a private work folder, dated incremental
// backups restored to an earlier state, and a text file kept as a zip stream.
#include <FileSystem/FileSystem.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

using namespace FileSystem;

namespace {

void write(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

std::string read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Prints what the store does; errors come with the reason.
class Report : public BackupProgress {
public:
    void reportProgress(const std::string& message) override { std::cout << "    " << message << "\n"; }
    void reportError(const std::string& message) override { std::cout << "    error: " << message << "\n"; }
};

} // namespace

int main(int argc, char** argv) {
    const std::string base = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };

    // A folder of its own (mode 0700), removed with everything in it at the end of the scope.
    TemporaryDirectory work(base, "guide");
    const std::string project = work.getPath() + "/project";
    Directory::create(project, false, true);
    write(project + "/model.dat", "version 1");
    write(project + "/notes.txt", "first notes");

    Report report;
    BackupStore store(work.getPath() + "/backups", &report);
    int copied = 0;
    // Monday: everything is stored.
    expect(store.startNewBackup(6, 1, 2025, 18, 0, 0) && store.addFolder(project, copied) && store.finishBackup(),
           "first backup");
    // Tuesday: the model changed and the notes are gone; only the change is stored.
    write(project + "/model.dat", "version 2, longer");
    File::remove(project + "/notes.txt");
    expect(store.startNewBackup(7, 1, 2025, 18, 0, 0) && store.addFolder(project, copied) && store.finishBackup(),
           "second backup");
    expect(copied == 3 && store.getNumberOfBackups() == 2, "three files stored in two backups");

    // Back to Monday's state: the model as it was, the notes back.
    expect(store.startRestore(6, 1, 2025, 18, 0, 0) && store.restoreFolder(project, copied) && store.finishRestore(),
           "restored Monday");
    expect(read(project + "/model.dat") == "version 1" && read(project + "/notes.txt") == "first notes",
           "the files are as they were on Monday");

    // Keep one backup: Tuesday's still means Tuesday's state.
    expect(store.thinBackups(1) && store.getNthBackupName(0) == "2025-01-07-18-00-00", "thinned to the newest");

    // A text file kept compressed and encrypted, with a password derived from its name.
    ZipStream::compressTextFile(project + "/notes.txt", work.getPath() + "/notes.zip");
    {
        ZipStream stream(work.getPath() + "/notes.zip", std::ios::in);
        std::ostringstream text;
        text << stream.getStream().rdbuf();
        expect(stream && text.str() == "first notes", "the compressed notes read back");
    }
    return failures == 0 ? 0 : 1;
}
