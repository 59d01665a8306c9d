#include "encoding/StorageLocation.h"

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

Volume disk(std::optional<bool> isInternal)
{
    Volume volume;
    volume.fileSystemType = "ext4";
    volume.isInternal = isInternal;
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
    const struct {
        const char *type, *title;
    } cases[] = {{"smbfs", "Netzwerk (SMB)"},
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
    EXPECT_EQ(StorageLocation::classify(disk(false), "/media/usb/Filme").title(), "Lokal (extern)");
    EXPECT_EQ(StorageLocation::classify(disk(true), "/media/usb/Filme").title(), "Lokal");
    const auto unknown = StorageLocation::classify(disk({}), "/media/usb/Gr\xfc\xdf\x65");
    EXPECT_EQ(unknown.title(), "Lokal");
    EXPECT_EQ(unknown.volumeName, "Gr\uFFFD\uFFFDe");
}

TEST(StorageLocation, fallsBackToLocalWhereNothingCanBeFound)
{
    const Sandbox sandbox;
    EXPECT_EQ(StorageLocation::detect(sandbox / "fehlt").kind, StorageLocation::Kind::local);
}

TEST(Mount, isReadFromTheKernelsTable)
{
    const auto mount = Mount::parse(
        R"(36 35 98:0 / /mnt/Filme\040und\011\134mehr rw,noatime master:1 shared:2 - cifs //nas/filme\040neu rw,vers=3.0)");
    ASSERT_TRUE(mount);
    EXPECT_EQ(mount->id, 36U);
    EXPECT_EQ(mount->point, "/mnt/Filme und\t\\mehr");
    EXPECT_EQ(mount->type, "cifs");
    EXPECT_EQ(mount->source, "//nas/filme neu");
    EXPECT_EQ(Mount::parse("1 2 0:5 / /proc rw - proc proc rw").value().type, "proc");
    for (const char *line : {"", "36 35 98:0 / /mnt rw", "x 35 98:0 / /mnt rw - ext4 /dev/sda1 rw",
                             "36 35 98:0 / /mnt rw - ext4", "36 35 98:0 / /mnt rw ext4 /dev/sda1 rw"})
        EXPECT_FALSE(Mount::parse(line)) << line;
}

TEST(Mount, tellsTheShareItShows)
{
    struct Case {
        Mount mount;
        const char *path, *type, *url, *root, *name;
    };
    const char *gvfs = "/run/user/1000/gvfs", *kio = "/run/user/1000/kio-fuse-x";
    const Case cases[] = {
        {mounted("cifs", "//nas/filme"), "/mnt/nas/a", "smbfs", "smb://nas/filme", "/mnt/nas", "nas"},
        {mounted("smb3", "//nas/filme"), "/mnt/nas/a", "smbfs", "smb://nas/filme", "/mnt/nas", "nas"},
        {mounted("fuse.smbnetfs", "smbnetfs"), "/mnt/nas/a", "smbfs", nullptr, "/mnt/nas", "nas"},
        {mounted("nfs4", "nas:/volume1/filme"), "/mnt/nas", "nfs", "nfs://nas/volume1/filme", "/mnt/nas",
         "nas"},
        {mounted("nfs", "[fd00::1]:/filme"), "/mnt/nas", "nfs", "nfs://[fd00::1]/filme", "/mnt/nas", "nas"},
        {mounted("fuse.afpfs", "afpfs"), "/mnt/nas", "afpfs", nullptr, "/mnt/nas", "nas"},
        {mounted("fuse.davfs2", "https://nas/dav"), "/mnt/nas", "webdav", "https://nas/dav", "/mnt/nas",
         "nas"},
        {mounted("fuse", "https://nas/dav"), "/mnt/nas", "webdav", "https://nas/dav", "/mnt/nas", "nas"},
        {mounted("fuse", "curlftpfs#ftp://nas/"), "/mnt/nas", "ftp", "ftp://nas/", "/mnt/nas", "nas"},
        {mounted("fuse.sshfs", "anna@nas:/filme"), "/mnt/nas/a", "sftp", "sftp://anna@nas/filme", "/mnt/nas",
         "nas"},
        {mounted("fuse.sshfs", "[fd00::1]:filme"), "/mnt/nas", "sftp", "sftp://[fd00::1]/~/filme", "/mnt/nas",
         "nas"},
        {mounted("fuse", "/dev/sdb1"), "/mnt/nas", "fuse", nullptr, "/mnt/nas", "nas"},
        {mounted("fuse.mergerfs", "a:b"), "/mnt/nas", "fuse.mergerfs", nullptr, "/mnt/nas", "nas"},
        {mounted("ext4", "/dev/sda1", "/"), "/home", "ext4", nullptr, "/", nullptr},
        {mounted("fuse.gvfsd-fuse", "gvfsd-fuse", gvfs),
         "/run/user/1000/gvfs/smb-share:server=nas,share=filme/a", "smbfs", "smb://nas/filme",
         "/run/user/1000/gvfs/smb-share:server=nas,share=filme", "filme"},
        {mounted("fuse.gvfsd-fuse", "gvfsd-fuse", gvfs),
         "/run/user/1000/gvfs/afp-volume:host=nas,user=x,volume=filme", "afpfs", "afp://nas/filme",
         "/run/user/1000/gvfs/afp-volume:host=nas,user=x,volume=filme", "filme"},
        {mounted("fuse.gvfsd-fuse", "gvfsd-fuse", gvfs), "/run/user/1000/gvfs/sftp:host=nas,user=x/a", "sftp",
         "sftp://nas/", "/run/user/1000/gvfs/sftp:host=nas,user=x", "nas"},
        {mounted("fuse.gvfsd-fuse", "gvfsd-fuse", gvfs), "/run/user/1000/gvfs/mtp:host=phone/a",
         "fuse.gvfsd-fuse", nullptr, gvfs, "gvfs"},
        {mounted("fuse.kio-fuse", "kio-fuse", kio), "/run/user/1000/kio-fuse-x/smb/nas/filme/Serien", "smbfs",
         "smb://nas/filme", "/run/user/1000/kio-fuse-x/smb/nas/filme", "filme"},
        {mounted("fuse.kio-fuse", "kio-fuse", kio), "/run/user/1000/kio-fuse-x/ftp/nas/a/b", "ftp",
         "ftp://nas", "/run/user/1000/kio-fuse-x/ftp/nas", "nas"},
        {mounted("fuse.kio-fuse", "kio-fuse", kio), "/run/user/1000/kio-fuse-x/sftp/x@nas/a/b", "sftp",
         "sftp://x@nas", "/run/user/1000/kio-fuse-x/sftp/x@nas", "x@nas"},
    };
    for (const auto &[mount, path, type, url, root, name] : cases) {
        const Volume volume = describeMount(mount, path);
        EXPECT_EQ(volume.fileSystemType, type) << path;
        EXPECT_EQ(volume.remountURL.value_or("none"), url != nullptr ? url : "none") << path;
        EXPECT_EQ(volume.root, test::fs::path(root)) << path;
        EXPECT_EQ(volume.name.value_or("none"), name != nullptr ? name : "none") << path;
    }
}

} // namespace kestrel
