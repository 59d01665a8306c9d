#include "encoding/StorageLocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace kestrel {

namespace {

using test::Sandbox;

Volume share(const std::string &type, const test::fs::path &root)
{
    Volume volume;
    volume.fileSystemType = type;
    volume.name = "filme";
    volume.root = root;
    volume.remountURL = "smb://nas/filme";
    return volume;
}

Mount mounted(const std::string &type, const std::string &source, const std::string &point = "/mnt/nas")
{
    return {1, point, type, source};
}

} // namespace

TEST(StorageLocation, isANetworkByTheTypeOfItsFileSystem)
{
    const Sandbox sandbox;
    const std::pair<const char *, const char *> cases[] = {{"smbfs", "Netzwerk (SMB)"},
                                                           {"nfs", "Netzwerk (NFS)"},
                                                           {"afpfs", "Netzwerk (AFP)"},
                                                           {"webdav", "Netzwerk (WebDAV)"},
                                                           {"ftp", "Netzwerk (FTP)"},
                                                           {"sftp", "Netzwerk (SFTP)"},
                                                           {"SMBFS", "Lokal"},
                                                           {"ext4", "Lokal"},
                                                           {"", "Lokal"}};
    for (const auto &[type, title] : cases) {
        const auto location = StorageLocation::classify(share(type, sandbox.path()), sandbox / "Serien");
        EXPECT_EQ(location.title(), title);
        EXPECT_EQ(location.isNetwork(), location.title() != "Lokal") << type;
        EXPECT_EQ(location.volumeName, "filme");
        EXPECT_EQ(location.remoteURL, "smb://nas/filme");
    }
}

TEST(StorageLocation, looksForARecycleBinAtTheSharesRoot)
{
    for (const char *bin : {".recycle", "#recycle", "@Recycle", ".Trashes"}) {
        const Sandbox sandbox;
        const Volume volume = share("smbfs", sandbox.path());
        test::fs::create_directories(sandbox / "Serien" / bin);
        EXPECT_FALSE(StorageLocation::classify(volume, sandbox / "Serien").hasRecycleBin) << bin;
        test::fs::create_directory(sandbox / bin);
        EXPECT_TRUE(StorageLocation::classify(volume, sandbox / "Serien").hasRecycleBin) << bin;
        // Never asked of a disk; and the opened folder itself where the root is unknown.
        EXPECT_FALSE(StorageLocation::classify(share("ext4", sandbox.path()), sandbox.path()).hasRecycleBin);
        Volume rootless = volume;
        rootless.root.reset();
        EXPECT_TRUE(StorageLocation::classify(rootless, sandbox / "Serien").hasRecycleBin) << bin;
    }
}

TEST(StorageLocation, isExternalOnlyWhenTheSystemSaysSo)
{
    const auto titleOf = [](std::optional<bool> isInternal) {
        Volume disk;
        disk.isInternal = isInternal;
        return StorageLocation::classify(disk, "/media/usb/Filme").title();
    };
    EXPECT_EQ(titleOf(false), "Lokal (extern)");
    EXPECT_EQ(titleOf(true), "Lokal");
    EXPECT_EQ(titleOf({}), "Lokal");
    EXPECT_EQ(StorageLocation::classify({}, "/media/Gr\xfc\xdf\x65").volumeName, "Gr\uFFFD\uFFFDe");
    EXPECT_EQ(StorageLocation::detect("/fehlt").kind, StorageLocation::Kind::local);
}

TEST(Mount, isReadFromTheKernelsTable)
{
    const auto mount = Mount::parse(
        R"(36 35 98:0 / /mnt/Filme\040und\011\134mehr rw,noatime master:1 shared:2 - cifs //nas/filme\040neu rw,vers=3.0)");
    ASSERT_TRUE(mount);
    EXPECT_THAT(*mount, testing::FieldsAre(36U, "/mnt/Filme und\t\\mehr", "cifs", "//nas/filme neu"));
    EXPECT_EQ(Mount::parse("1 2 0:5 / /proc rw - proc proc rw").value().type, "proc");
    for (const char *line : {"", "36 35 98:0 / /mnt rw", "x 35 98:0 / /mnt rw - ext4 /dev/sda1 rw",
                             "36 35 98:0 / /mnt rw - ext4", "36 35 98:0 / /mnt rw ext4 /dev/sda1 rw"})
        EXPECT_FALSE(Mount::parse(line)) << line;
}

TEST(Mount, tellsTheShareItShows)
{
    const Mount gvfs = mounted("fuse.gvfsd-fuse", "gvfsd-fuse", "/run/user/1000/gvfs");
    const Mount kio = mounted("fuse.kio-fuse", "kio-fuse", "/run/user/1000/kio-fuse-x");
    const struct {
        Mount mount;
        std::string path; // below its point
        const char *type, *url;
        std::string root; // likewise
        const char *name;
    } cases[] = {
        {mounted("cifs", "//nas/filme"), "a", "smbfs", "smb://nas/filme", "", "nas"},
        {mounted("smb3", "//nas/filme"), "a", "smbfs", "smb://nas/filme", "", "nas"},
        {mounted("fuse.smbnetfs", "smbnetfs"), "a", "smbfs", nullptr, "", "nas"},
        {mounted("nfs4", "nas:/volume1/filme"), "", "nfs", "nfs://nas/volume1/filme", "", "nas"},
        {mounted("nfs", "[fd00::1]:/filme"), "", "nfs", "nfs://[fd00::1]/filme", "", "nas"},
        {mounted("fuse.afpfs", "afpfs"), "", "afpfs", nullptr, "", "nas"},
        {mounted("fuse.davfs2", "https://nas/dav"), "", "webdav", "https://nas/dav", "", "nas"},
        {mounted("fuse", "https://nas/dav"), "", "webdav", "https://nas/dav", "", "nas"},
        {mounted("fuse", "curlftpfs#ftp://nas/"), "", "ftp", "ftp://nas/", "", "nas"},
        {mounted("fuse.sshfs", "anna@nas:/filme"), "a", "sftp", "sftp://anna@nas/filme", "", "nas"},
        {mounted("fuse.sshfs", "[fd00::1]:filme"), "", "sftp", "sftp://[fd00::1]/~/filme", "", "nas"},
        {mounted("fuse", "/dev/sdb1"), "", "fuse", nullptr, "", "nas"},
        {mounted("fuse.mergerfs", "a:b"), "", "fuse.mergerfs", nullptr, "", "nas"},
        {mounted("ext4", "/dev/sda1", "/"), "home", "ext4", nullptr, "", nullptr},
        {gvfs, "smb-share:server=nas,share=filme/a", "smbfs", "smb://nas/filme",
         "smb-share:server=nas,share=filme", "filme"},
        {gvfs, "afp-volume:host=nas,user=x,volume=filme", "afpfs", "afp://nas/filme",
         "afp-volume:host=nas,user=x,volume=filme", "filme"},
        {gvfs, "sftp:host=nas,user=x/a", "sftp", "sftp://nas/", "sftp:host=nas,user=x", "nas"},
        {gvfs, "mtp:host=phone/a", "fuse.gvfsd-fuse", nullptr, "", "gvfs"},
        {kio, "smb/nas/filme/Serien", "smbfs", "smb://nas/filme", "smb/nas/filme", "filme"},
        {kio, "ftp/nas/a/b", "ftp", "ftp://nas", "ftp/nas", "nas"},
        {kio, "sftp/x@nas/a/b", "sftp", "sftp://x@nas", "sftp/x@nas", "x@nas"},
    };
    for (const auto &[mount, path, type, url, root, name] : cases) {
        const auto below = [point = mount.point](const std::string &place) {
            return place.empty() ? point : point / place;
        };
        const Volume volume = describeMount(mount, below(path));
        EXPECT_EQ(volume.fileSystemType, type) << path;
        EXPECT_EQ(volume.remountURL.value_or("none"), url != nullptr ? url : "none") << path;
        EXPECT_EQ(volume.root, below(root)) << path;
        EXPECT_EQ(volume.name.value_or("none"), name != nullptr ? name : "none") << path;
    }
}

} // namespace kestrel
