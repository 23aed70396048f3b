// Path mapping: a path as a client mounts it and as the server names it, and
// folders shared from this machine.
#include <FileSystem/files/SharedFolder.h>
#include <FileSystem/files/TemporaryFile.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathMapper.h>

#include <iostream>
#include <unistd.h>

using namespace FileSystem;

int main() {
    int failures = 0;
    const auto expect = [&failures](const std::string& got, const std::string& wanted) {
        std::cout << "  " << got << (got == wanted ? "" : "   <- expected " + wanted) << "\n";
        failures += got != wanted;
    };

    // Mappings by hand: the longest mounted path that holds a path wins.
    PathMapper mapper;
    mapper.addMapping("/mnt/projects", "//fileserver/projects");
    mapper.addMapping("/mnt/projects/archive", "nas:/export/archive");
    std::cout << "Mapping by hand\n";
    expect(mapper.toServicePath("/mnt/projects/wing/mesh.dat").value_or("-"), "//fileserver/projects/wing/mesh.dat");
    expect(mapper.toServicePath("/mnt/projects/archive/2019").value_or("-"), "nas:/export/archive/2019");
    expect(mapper.toServicePath("/mnt/projects2/x").value_or("-"), "-"); // whole names only
    expect(mapper.toMountedPath("\\\\fileserver\\projects\\a.txt").value_or("-"), "/mnt/projects/a.txt");
    expect(mapper.data()[1].type, "nfs"); // inferred from the service path

    // A client's mount table, as /proc/mounts writes it (a space is \040).
    const std::string mtab = "//fileserver/team\\040data /mnt/team cifs rw,vers=3.0 0 0\n"
                             "/dev/sda1 / ext4 rw 0 0\n"
                             "nas:/export/home /home nfs rw 0 0\n";
    const PathMapper client = PathMapper::fromMTabData(mtab, {});
    std::cout << "From a mount table\n";
    expect(std::to_string(client.data().size()), "2");
    expect(client.toServicePath("/mnt/team/report.pdf").value_or("-"), "//fileserver/team data/report.pdf");
    expect(client.toServicePath("/home/ann/.profile").value_or("-"), "nas:/export/home/ann/.profile");

    // The same from CSV: two cells (mounted, service) or three (type first).
    const PathMapper table = PathMapper::fromCSVData("mounted,service\n"
                                                     "/mnt/team,//fileserver/team\n"
                                                     "nfs,/home,nas:/export/home\n",
                                                     true);
    std::cout << "From CSV\n";
    expect(table.toMountedPath("//fileserver/team/plan.txt").value_or("-"), "/mnt/team/plan.txt");

    // Network names: already universal names keep their text (with forward slashes).
    std::cout << "Network names\n";
    expect(Path::convertToUNCPath("//fileserver\\projects\\a.txt"), "//fileserver/projects/a.txt");

    // This machine's own mounts and shares.
    std::cout << "This machine maps " << PathMapper::fromMounts().data().size() << " network places\n";

    // Sharing a folder; where Samba's user shares are not set up this says why.
    TemporaryDirectory scratch;
    const std::string folder = scratch.getPath() + "/results";
    Directory::create(folder, false, true);
    const SharedFolder shared(folder, "guide" + std::to_string(::getpid()));
    std::string error;
    if (shared.createShare(error)) {
        std::cout << "Shared " << folder << " as " << Path::convertToUNCPath(folder + "/run1.dat") << "\n";
        expect(Path::convertFromUNCPath(Path::convertToUNCPath(folder + "/run1.dat")), folder + "/run1.dat");
        if (!shared.deleteShare())
            ++failures;
    } else {
        std::cout << "Sharing is not available here: " << error << "\n";
    }

    std::cout << (failures ? "Some results differ\n" : "All results as expected\n");
    return failures == 0 ? 0 : 1;
}
