// Netpaths through the mount table, bind mounts, the automounter's directories.
// Made-up tables name real scratch directories, so that the device checks
// against stat still decide.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "util/kes_host.h"
#include "util/kes_mount.h"
#include "util/kes_path.h"
#include "support/scratch.h"

using namespace support;

namespace {
std::string host() {
  const char *h = kes_hostname();
  return h ? h : "";
}

std::string devstr(dev_t dev) {
  return std::to_string(major(dev)) + ":" + std::to_string(minor(dev));
}

class MountTest : public Scratch {
protected:
  void SetUp() override {
    Scratch::SetUp();
    struct stat st;
    ASSERT_EQ(stat(dir.c_str(), &st), 0);
    dev = st.st_dev;
  }
  void TearDown() override {
    kes_delete_am_dirlist();
    Scratch::TearDown();
  }
  std::string to_net(const std::string &path, const char *mounts, const char *info) {
    char buf[1024];
    char *r = kes_path_to_netpath_using(path.c_str(), buf, mounts, info);
    return r ? r : "<null>";
  }
  std::string from_net(const std::string &netpath, const char *mounts) {
    char buf[1024];
    char *r = kes_netpath_to_path_using(netpath.c_str(), buf, mounts);
    return r ? r : "<null>";
  }
  dev_t dev = 0;
};
}  // namespace

TEST(Mountinfo, ParsesNetworkAutomounterAndEscapedEntries) {
  const char *text =
      "27 1 254:0 / / rw,relatime - ext4 /dev/vda rw\n"
      "60 27 0:53 / /mnt/ws rw,relatime shared:7 master:2 - nfs4 fileserv:/export rw,vers=4.2\n"
      "61 27 0:54 / /net rw,relatime - autofs /etc/auto.net rw,fd=7,indirect\n"
      "62 27 254:0 /home/src /mnt/with\\040blank rw - ext4 /dev/vda rw\n"
      "garbage line\n"
      "63 27 254:0 / /no/separator rw ext4 /dev/vda rw\n"
      "64 27 xx:yy / /bad/device rw - ext4 /dev/vda rw\n"
      "65 27 8:1 relative /m rw - ext4 /dev/sda1 rw\n"
      "\n"
      "66 27 8:17 / /last rw - xfs /dev/sdb1 rw";  // no newline at the end
  std::vector<Kes_mountinfo_entry> e = kes_parse_mountinfo(text);
  ASSERT_EQ(e.size(), 5u);
  EXPECT_EQ(e[1].dev, makedev(0, 53));
  EXPECT_EQ(e[1].root, "/");
  EXPECT_EQ(e[1].mount_point, "/mnt/ws");
  EXPECT_EQ(e[1].special, "fileserv:/export");
  EXPECT_EQ(e[3].root, "/home/src");
  EXPECT_EQ(e[3].mount_point, "/mnt/with blank");
  EXPECT_EQ(e[4].special, "/dev/sdb1");
  EXPECT_TRUE(kes_parse_mountinfo(nullptr).empty());
}

TEST_F(MountTest, BindSourceIsTheNearestWiderMount) {
  make_dirs("fs");
  make_dirs("bind");
  make_dirs("again");
  std::string d = devstr(dev);
  std::string text = "1 0 " + d + " / / rw - ext4 /dev/x rw\n" +
                     "2 1 " + d + " /exp " + at("fs") + " rw - ext4 /dev/x rw\n" +
                     "3 1 " + d + " /exp/sub/deep " + at("bind") + " rw - ext4 /dev/x rw\n" +
                     "4 1 " + d + " / " + at("again") + " rw - ext4 /dev/x rw\n" +
                     "5 1 " + d + " /gone /nonexistent/mp rw - ext4 /dev/x rw\n" +
                     "6 1 " + d + " /gone/x " + at("fs") + "/x rw - ext4 /dev/x rw\n" +
                     "7 1 " + d + " " + dir + " " + dir + " rw - ext4 /dev/x rw\n";
  std::vector<Kes_mountinfo_entry> e = kes_parse_mountinfo(text.c_str());
  ASSERT_EQ(e.size(), 7u);
  char src[1024];
  // "/exp" holds "/exp/sub/deep" more nearly than "/".
  ASSERT_EQ(kes_bind_mount_source(e, at("bind").c_str(), dev, src), 1);
  EXPECT_EQ(std::string(src), at("fs") + "/sub/deep");
  ASSERT_EQ(kes_bind_mount_source(e, at("fs").c_str(), dev, src), 1);
  EXPECT_EQ(std::string(src), "/exp");
  // A second mount of the whole file system leads back to the first one.
  ASSERT_EQ(kes_bind_mount_source(e, at("again").c_str(), dev, src), 1);
  EXPECT_EQ(std::string(src), "/");
  EXPECT_EQ(kes_bind_mount_source(e, "/", dev, src), 0);
  // The nearest wider mount can't be stat-ed: the next one serves.
  ASSERT_EQ(kes_bind_mount_source(e, (at("fs") + "/x").c_str(), dev, src), 1);
  EXPECT_STREQ(src, "/gone/x");
  // Bound onto itself.
  EXPECT_EQ(kes_bind_mount_source(e, dir.c_str(), dev, src), 0);
  // Unknown mount point, or the right one of another device.
  EXPECT_EQ(kes_bind_mount_source(e, at("nothing").c_str(), dev, src), 0);
  EXPECT_EQ(kes_bind_mount_source(e, at("bind").c_str(), dev + 1, src), 0);
}

TEST_F(MountTest, HostTableGivesLocalHostForPlainPathsAndBack) {
  ASSERT_FALSE(host().empty());
  make_dirs("ws/src");
  ASSERT_EQ(symlink(at("ws").c_str(), at("link").c_str()), 0);
  ASSERT_EQ(chdir(at("ws").c_str()), 0);
  // Links and dots resolve; a missing tail stays.
  struct {
    std::string in, path;
  } cases[] = {{at("ws/src"), at("ws/src")},
               {at("link/src/new/file"), at("ws/src/new/file")},
               {"src/../src", at("ws/src")},
               {"/", "/"}};
  for (const auto &c : cases) {
    char net[1024], back[1024];
    ASSERT_NE(kes_path_to_netpath(c.in.c_str(), net), nullptr) << c.in;
    EXPECT_EQ(std::string(net), host() + ":" + c.path);
    ASSERT_NE(kes_netpath_to_path(net, back), nullptr) << net;
    EXPECT_EQ(std::string(back), c.path);
  }
}

TEST_F(MountTest, LocalHostNetpathIsCutWithoutLookingAtTheDisk) {
  char buf[1024];
  std::string h = host();
  ASSERT_NE(kes_netpath_to_path((h + ":/does/not/exist").c_str(), buf), nullptr);
  EXPECT_STREQ(buf, "/does/not/exist");
  // The host name is looked for anywhere, the ":" at the name's length.
  std::string odd = std::string(h.size(), 'q') + ":/" + h;
  ASSERT_NE(kes_netpath_to_path(odd.c_str(), buf), nullptr);
  EXPECT_EQ(std::string(buf), "/" + h);
  EXPECT_EQ(kes_netpath_to_path("no-such-host.kes-test:/x/y", buf), nullptr);
  EXPECT_EQ(kes_netpath_to_path("no colon at all", buf), nullptr);
}

TEST_F(MountTest, NetworkMountNamesServerAndPath) {
  make_dirs("nfs/sub/dir");
  write_file("nfs/sub/dir/f", "x");
  make_dirs("other");
  make_dirs("ign/x");
  write_file("mounts",
        "srv:/export " + at("nfs") + " nfs rw,vers=4 0 0\n" +
        "old:/gone " + at("ign") + " nfs rw,ignore 0 0\n" +
        "slash:/ " + at("nfs/sub/dir") + " nfs ro 0 0\n");
  std::string m = at("mounts"), i = at("no-mountinfo");
  EXPECT_EQ(to_net(at("nfs/sub"), m.c_str(), i.c_str()), "srv:/export/sub");
  EXPECT_EQ(to_net(at("nfs/sub/new/"), m.c_str(), i.c_str()), "srv:/export/sub/new");
  // The deeper mount holds its own tree.
  EXPECT_EQ(to_net(at("nfs/sub/dir/f"), m.c_str(), i.c_str()), "slash:/f");
  EXPECT_EQ(to_net(at("nfs/sub/dir"), m.c_str(), i.c_str()), "slash:/");
  // Entries marked ignore don't count; a path under no entry is local.
  EXPECT_EQ(to_net(at("ign/x"), m.c_str(), i.c_str()), host() + ":" + at("ign/x"));
  EXPECT_EQ(to_net(at("other"), m.c_str(), i.c_str()), host() + ":" + at("other"));
  // And back through the table.
  EXPECT_EQ(from_net("srv:/export/nothere", m.c_str()), "<null>");
  EXPECT_EQ(from_net("old:/gone/x", m.c_str()), "<null>");
  EXPECT_EQ(from_net("elsewhere:/export/sub", m.c_str()), "<null>");
  for (const char *rel : {"nfs", "nfs/sub", "nfs/sub/dir", "nfs/sub/dir/f"}) {
    std::string net = to_net(at(rel), m.c_str(), i.c_str());
    EXPECT_EQ(from_net(net, m.c_str()), at(rel)) << net;
  }
}

TEST_F(MountTest, MountPointNameAloneIsNotEnough) {
  // /proc is a file system of its own: an entry naming "/" must not claim it,
  // and one naming /proc must.
  make_dirs("x");
  write_file("liar", "liar:/e / nfs rw 0 0\n");
  write_file("truth", "liar:/e / nfs rw 0 0\ntruth:/p /proc nfs rw 0 0\n");
  std::string none = at("none");
  EXPECT_EQ(to_net("/proc/version", at("liar").c_str(), none.c_str()), host() + ":/proc/version");
  EXPECT_EQ(to_net("/proc/version", at("truth").c_str(), none.c_str()), "truth:/p/version");
  struct stat root;
  ASSERT_EQ(stat("/", &root), 0);
  if (root.st_dev == dev) {
    EXPECT_EQ(to_net(at("x"), at("truth").c_str(), none.c_str()), "liar:/e" + at("x"));
  }
  // The way back checks the device of the path against the mount point's.
  write_file("back", "truth:/p / nfs rw 0 0\n");
  EXPECT_EQ(from_net("truth:/p/proc/version", at("back").c_str()), "<null>");
  EXPECT_EQ(from_net("truth:/p", at("back").c_str()), "/");
  if (root.st_dev == dev) {
    EXPECT_EQ(from_net("truth:/p" + at("x"), at("back").c_str()), at("x"));
  }
}

TEST_F(MountTest, BindMountsAreFollowedToTheirDirectory) {
  make_dirs("nfs/sub/d");
  make_dirs("dst");
  make_dirs("lo");
  std::string d = devstr(dev);
  write_file("mounts",
        "srv:/export " + at("nfs") + " nfs rw 0 0\n" +
        "/dev/x " + at("dst") + " ext4 rw 0 0\n" +
        at("nfs/sub") + " " + at("lo") + " lofs rw 0 0\n");
  write_file("mountinfo", "1 0 " + d + " / " + at("nfs") + " rw - nfs srv:/export rw\n" +
                         "2 1 " + d + " /sub " + at("dst") + " rw - ext4 /dev/x rw\n");
  std::string m = at("mounts"), i = at("mountinfo");
  // dst shows srv:/export/sub, so names through it name the server's path.
  EXPECT_EQ(to_net(at("dst/d"), m.c_str(), i.c_str()), "srv:/export/sub/d");
  // A loopback entry names its directory as the special.
  EXPECT_EQ(to_net(at("lo/d/new"), m.c_str(), i.c_str()), "srv:/export/sub/d/new");
  // Without the mountinfo table a bind mount is a plain local mount.
  std::string none = at("none");
  EXPECT_EQ(to_net(at("dst/d"), m.c_str(), none.c_str()), host() + ":" + at("dst/d"));
}

TEST_F(MountTest, LoopbackCyclesEndAndUnreadableTablesFail) {
  make_dirs("a/x");
  make_dirs("b/x");
  write_file("mounts", at("a") + " " + at("b") + " lofs rw 0 0\n" + at("b") + " " + at("a") +
                      " lofs rw 0 0\n");
  std::string net = to_net(at("b/x"), at("mounts").c_str(), at("none").c_str());
  EXPECT_TRUE(net == host() + ":" + at("a/x") || net == host() + ":" + at("b/x")) << net;
  EXPECT_EQ(to_net(at("a"), "/nonexistent/mounts", at("none").c_str()), "<null>");
  EXPECT_EQ(from_net("srv:/export", "/nonexistent/mounts"), "<null>");
}

TEST_F(MountTest, AutomounterDirectoriesFromTheTable) {
  make_dirs("net/host/d");
  make_dirs("home2");
  make_dirs("direct");
  make_dirs("netx/a");
  write_file("mounts",
        "auto.net " + at("net") + " autofs rw,fd=5,indirect 0 0\n" +
        "auto_home " + at("home2") + " nfs ignore,map=auto_home,indirect 0 0\n" +
        "-hosts " + at("direct") + " nfs ignore,map,direct 0 0\n" +
        "srv:/x " + at("netx") + " nfs rw 0 0\n" +
        "y " + at("mapping") + " nfs ignore,mapping,direct 0 0\n" +
        "z " + at("nomap") + " nfs ignore,indirect 0 0\n");
  EXPECT_EQ(kes_load_am_dirlist(at("mounts").c_str()), 3);
  char buf[1024];
  for (const char *rel : {"net", "net/host/d", "home2/u", "direct"}) {
    ASSERT_NE(kes_path_thru_automounter(at(rel).c_str(), buf), nullptr) << rel;
    EXPECT_EQ(std::string(buf), at(rel));
  }
  for (const char *rel : {"netx/a", "mapping", "nomap", "ne"})
    EXPECT_EQ(kes_path_thru_automounter(at(rel).c_str(), buf), nullptr) << rel;
  EXPECT_EQ(kes_load_am_dirlist("/nonexistent/mounts"), -1);
  EXPECT_EQ(kes_path_thru_automounter(at("net/host").c_str(), buf), nullptr);
}

TEST_F(MountTest, AutomounterPathBehindAMountPrefix) {
  // /tmp/tmp/<scratch> stands for a mount prefix in front of the automounter's
  // directory: one scratch name leads to the same directory, another doesn't.
  // /tmp/tmp itself stays: another run may be using it at the same time.
  char other_tmpl[] = "/tmp/kes_mount_test.XXXXXX";
  ASSERT_NE(mkdtemp(other_tmpl), nullptr);
  std::string other = other_tmpl;
  std::string same = "/tmp" + dir, differs = "/tmp" + other;
  struct Cleanup {
    std::string cmd;
    ~Cleanup() { (void)!system(cmd.c_str()); }
  } cleanup{"rm -rf '" + same + "' '" + differs + "' '" + other + "'"};
  make_dirs("net/host/d");
  ASSERT_EQ(system(("mkdir -p '" + other + "/net/host/d'").c_str()), 0);
  ASSERT_TRUE(mkdir("/tmp/tmp", 01777) == 0 || errno == EEXIST);
  ASSERT_EQ(symlink(dir.c_str(), same.c_str()), 0);
  ASSERT_EQ(system(("mkdir -p '" + differs + "/net/host/d'").c_str()), 0);
  write_file("mounts", "a " + at("net") + " autofs rw 0 0\nb " + other + "/net autofs rw 0 0\n");
  ASSERT_EQ(kes_load_am_dirlist(at("mounts").c_str()), 2);

  std::string via = same + "/net/host/d";
  const char *r = abs_under_automounter(via.c_str());
  EXPECT_EQ(r, via.c_str() + 4);
  char buf[1024];
  ASSERT_NE(kes_path_thru_automounter(via.c_str(), buf), nullptr);
  EXPECT_EQ(std::string(buf), at("net/host/d"));
  // Different directory behind the prefix; missing; not under the prefix.
  EXPECT_EQ(abs_under_automounter((differs + "/net/host/d").c_str()), nullptr);
  EXPECT_EQ(abs_under_automounter(("/nope" + dir + "/net/host/d").c_str()), nullptr);
  EXPECT_EQ(abs_under_automounter(("/tmp" + dir + "/other/d").c_str()), nullptr);
  // A relative name is taken from the working directory.
  ASSERT_EQ(chdir("/tmp/tmp"), 0);
  std::string rel = dir.substr(dir.rfind('/') + 1) + "/net/host";
  ASSERT_NE(kes_path_thru_automounter(rel.c_str(), buf), nullptr);
  EXPECT_EQ(std::string(buf), at("net/host"));
}
