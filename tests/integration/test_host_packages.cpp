/*
 * test_host_packages.cpp - the Debian packages (cpack -G DEB from the build
 * folder): their names, control fields (dependencies from dpkg-shlibdeps),
 * contents and modes, the host's conffile and maintainer scripts; then the
 * unpacked programs run from their installed paths, the units pass
 * systemd-analyze verify, and cmake --install puts the units where systemd
 * reads them with the prefix's program in ExecStart.
 */
#include <sys/stat.h>

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "host_support.h"
#include "test_files.h"

namespace {

/* One control field of a package. */
std::string field(const std::string &deb, const std::string &name)
{
  ChildResult r = runBuildShell("dpkg-deb -f " + shellQuote(deb) + " " + name);
  std::string value = r.out;
  while (!value.empty() && value.back() == '\n')
    value.pop_back();
  return value;
}

/* The package's entries: path ("./usr/bin/x") -> "mode owner". */
std::map<std::string, std::string> contents(const std::string &deb)
{
  std::map<std::string, std::string> entries;
  ChildResult r = runBuildShell("dpkg-deb -c " + shellQuote(deb));
  for (const std::string &line : splitLines(r.out))
  {
    /* -rwxr-xr-x root/root 12345 2026-11-23 17:10 ./usr/bin/x */
    std::vector<std::string> words;
    size_t pos = 0;
    while (pos < line.size() && words.size() < 6)
    {
      size_t start = line.find_first_not_of(' ', pos);
      if (start == std::string::npos)
        break;
      size_t end = words.size() == 5 ? line.size() : line.find(' ', start);
      if (end == std::string::npos)
        end = line.size();
      words.push_back(line.substr(start, end - start));
      pos = end;
    }
    if (words.size() == 6)
      entries[words[5]] = words[0] + " " + words[1];
  }
  return entries;
}

class HostPackages : public ::testing::Test
{
protected:
  static std::string dir, arch;
  static ChildResult made;

  static void SetUpTestSuite()
  {
    dir = makeTempDir("host-packages");
    arch = runBuildShell("dpkg --print-architecture").out;
    while (!arch.empty() && arch.back() == '\n')
      arch.pop_back();
    made = runBuildShell(shellQuote(CORVANE_CPACK_COMMAND) + " -G DEB -B " + shellQuote(dir + "/debs") + " --config " +
                           shellQuote(std::string(CORVANE_BUILD_DIR) + "/CPackConfig.cmake"),
                         {}, 900, CORVANE_BUILD_DIR);
  }

  static void TearDownTestSuite() { removeTempDir(dir); }

  std::string deb(const std::string &package)
  {
    return dir + "/debs/" + package + "_" + CORVANE_VERSION + "_" + arch + ".deb";
  }

  void SetUp() override { ASSERT_EQ(made.exitStatus, 0) << made.out << made.err; }
};

std::string HostPackages::dir, HostPackages::arch;
ChildResult HostPackages::made;

TEST_F(HostPackages, ThreePackagesWithTheirControlFields)
{
  std::vector<std::string> files;
  for (const std::string &name : hostListDir(dir + "/debs"))
    if (name.size() > 4 && name.compare(name.size() - 4, 4, ".deb") == 0)
      files.push_back(name);
  std::string version = CORVANE_VERSION;
  EXPECT_EQ(files, (std::vector<std::string>{"corvane-backend_" + version + "_" + arch + ".deb",
                                             "kivprinter-host_" + version + "_" + arch + ".deb",
                                             "libkivruntime-dev_" + version + "_" + arch + ".deb"}));
  for (const char *package : {"corvane-backend", "kivprinter-host", "libkivruntime-dev"})
  {
    std::string d = deb(package);
    EXPECT_EQ(field(d, "Package"), package);
    EXPECT_EQ(field(d, "Version"), version);
    EXPECT_EQ(field(d, "Architecture"), arch);
    EXPECT_EQ(field(d, "Maintainer"), "Corvane maintainers <corvane@localhost>");
    EXPECT_EQ(field(d, "Priority"), "optional");
  }
  EXPECT_EQ(field(deb("corvane-backend"), "Section"), "text");
  EXPECT_EQ(field(deb("kivprinter-host"), "Section"), "net");
  EXPECT_EQ(field(deb("libkivruntime-dev"), "Section"), "libdevel");
  EXPECT_EQ(splitLines(field(deb("kivprinter-host"), "Description"))[0],
            "receiver that forwards Corvane print jobs to an IPP printer");

  /* Dependencies: the libraries the programs link, found by dpkg-shlibdeps. */
  std::string backendDepends = field(deb("corvane-backend"), "Depends");
  for (const char *need : {"cups-daemon", "libcups2 (>= ", "liblzf1 (>= ", "libc6 (>= "})
    EXPECT_NE(backendDepends.find(need), std::string::npos) << need << " not in " << backendDepends;
  std::string hostDepends = field(deb("kivprinter-host"), "Depends");
  for (const char *need : {"libcups2 (>= ", "libpng16-16 (>= ", "libsystemd0", "liblzf1 (>= ", "libc6 (>= "})
    EXPECT_NE(hostDepends.find(need), std::string::npos) << need << " not in " << hostDepends;
  EXPECT_EQ(field(deb("libkivruntime-dev"), "Depends"), "");
  EXPECT_EQ(field(deb("corvane-backend"), "Recommends"), "kivprinter-host");
}

TEST_F(HostPackages, EachPackageHoldsItsFiles)
{
  std::map<std::string, std::string> backend = contents(deb("corvane-backend"));
  std::string backendDir = "./usr/lib/cups/backend/CorvaneBackend";
  EXPECT_EQ(backend[backendDir], "-rwxr-xr-x root/root");
  for (auto &entry : backend)
    EXPECT_TRUE(entry.first.compare(0, 6, "./usr/") == 0) << entry.first;

  std::map<std::string, std::string> host = contents(deb("kivprinter-host"));
  std::map<std::string, std::string> expected = {
    {"./usr/bin/kivprinter-host", "-rwxr-xr-x root/root"},
    {"./usr/bin/kivprinter-mkstream", "-rwxr-xr-x root/root"},
    {"./lib/systemd/system/kivprinter-host.service", "-rw-r--r-- root/root"},
    {"./lib/systemd/system/kivprinter-host.socket", "-rw-r--r-- root/root"},
    {"./usr/lib/tmpfiles.d/kivprinter-host.conf", "-rw-r--r-- root/root"},
    {"./etc/default/kivprinter-host", "-rw-r--r-- root/root"},
  };
  for (auto &entry : expected)
    EXPECT_EQ(host[entry.first], entry.second) << entry.first;
  size_t files = 0;
  for (auto &entry : host)
    files += entry.second[0] == '-';
  EXPECT_EQ(files, expected.size());

  std::map<std::string, std::string> library = contents(deb("libkivruntime-dev"));
  EXPECT_EQ(library["./usr/lib/libkivruntime.a"], "-rw-r--r-- root/root");
  EXPECT_EQ(library["./usr/include/kivruntime/KivString_unix.h"], "-rw-r--r-- root/root");
  EXPECT_EQ(library["./usr/lib/pkgconfig/kivruntime.pc"], "-rw-r--r-- root/root");
}

TEST_F(HostPackages, TheHostPackagesConffileAndMaintainerScripts)
{
  std::string control = dir + "/host-control";
  ChildResult r = runBuildShell("dpkg-deb -e " + shellQuote(deb("kivprinter-host")) + " " + shellQuote(control));
  ASSERT_EQ(r.exitStatus, 0) << r.err;
  EXPECT_EQ(readFileText(control + "/conffiles"), "/etc/default/kivprinter-host\n");
  for (const char *script : {"postinst", "prerm", "postrm"})
  {
    std::string path = control + "/" + script;
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0) << script;
    EXPECT_EQ(st.st_mode & 0777, 0755u) << script;
    EXPECT_EQ(runBuildShell("sh -n " + shellQuote(path)).exitStatus, 0) << script;
  }
  std::string postinst = readFileText(control + "/postinst");
  EXPECT_NE(postinst.find("systemd-tmpfiles --create kivprinter-host.conf"), std::string::npos);
  EXPECT_NE(postinst.find("deb-systemd-invoke start kivprinter-host.socket"), std::string::npos);
}

TEST_F(HostPackages, UnpackedProgramsRunFromTheirInstalledPaths)
{
  std::string root = dir + "/root";
  for (const char *package : {"corvane-backend", "kivprinter-host", "libkivruntime-dev"})
    ASSERT_EQ(runBuildShell("dpkg-deb -x " + shellQuote(deb(package)) + " " + shellQuote(root)).exitStatus, 0) << package;

  ChildResult r = runBuildShell(shellQuote(root + "/usr/bin/kivprinter-host") + " --help");
  EXPECT_EQ(r.exitStatus, 0) << r.err;
  EXPECT_EQ(r.out.compare(0, 31, "usage: kivprinter-host [options"), 0) << r.out;
  EXPECT_NE(r.out.find("  -f, --forward URI "), std::string::npos) << r.out;
  r = runBuildShell(shellQuote(root + "/usr/bin/kivprinter-mkstream") + " --help");
  EXPECT_EQ(r.exitStatus, 0) << r.err;
  EXPECT_EQ(r.out.compare(0, 34, "usage: kivprinter-mkstream [option"), 0) << r.out;
  /* The backend with a wrong number of arguments: its usage, status 4. */
  r = runBuildShell(shellQuote(root + "/usr/lib/cups/backend/CorvaneBackend") + " 1 2");
  EXPECT_EQ(r.exitStatus, 4);

  /* The service runs the installed program on the spool, with the options
     of the default file. */
  std::string service = readFileText(root + "/lib/systemd/system/kivprinter-host.service");
  EXPECT_NE(service.find("\nExecStart=/usr/bin/kivprinter-host --out /var/spool/kivprinter $KIVPRINTER_HOST_OPTIONS\n"),
            std::string::npos)
    << service;
  EXPECT_NE(service.find("\nEnvironmentFile=-/etc/default/kivprinter-host\n"), std::string::npos);
  EXPECT_NE(service.find("\nUser=lp\n"), std::string::npos);
  std::string socket = readFileText(root + "/lib/systemd/system/kivprinter-host.socket");
  for (const char *line : {"\nListenStream=/tmp/kivprinter.sock\n", "\nSocketMode=0660\n", "\nSocketGroup=lp\n"})
    EXPECT_NE(socket.find(line), std::string::npos) << line;
  EXPECT_EQ(readFileText(root + "/usr/lib/tmpfiles.d/kivprinter-host.conf"),
            "# The spool of kivprinter-host: one folder per job, kept until removed.\n"
            "d /var/spool/kivprinter 0750 lp lp -\n");
  EXPECT_NE(readFileText(root + "/etc/default/kivprinter-host").find("\nKIVPRINTER_HOST_OPTIONS=\"\"\n"),
            std::string::npos);

  /* systemd's own check of the units, with ExecStart pointing at the
     unpacked program (it must exist and be executable). */
  std::string units = dir + "/units";
  mkdir(units.c_str(), 0755);
  std::string unpacked = service;
  size_t at = unpacked.find("ExecStart=/usr/bin/");
  unpacked.replace(at, 19, "ExecStart=" + root + "/usr/bin/");
  ASSERT_TRUE(writeFileBytes(units + "/kivprinter-host.service", unpacked));
  ASSERT_TRUE(writeFileBytes(units + "/kivprinter-host.socket", socket));
  r = runBuildShell("systemd-analyze verify " + shellQuote(units + "/kivprinter-host.socket") + " " +
                    shellQuote(units + "/kivprinter-host.service"));
  EXPECT_EQ(r.exitStatus, 0) << r.out << r.err;
  EXPECT_EQ(r.out + r.err, "");

  /* The library from the package, found through its pkg-config file. */
  r = runBuildShell("pkg-config --cflags --libs kivruntime", {"PKG_CONFIG_PATH=" + root + "/usr/lib/pkgconfig"});
  EXPECT_EQ(r.exitStatus, 0) << r.err;
  EXPECT_NE(r.out.find("/include/kivruntime -L" + root + "/usr/lib/pkgconfig/../"), std::string::npos) << r.out;
}

TEST(HostServiceInstall, CmakeInstallPutsTheUnitsWhereSystemdReadsThem)
{
  std::string dir = makeTempDir("host-units");
  std::string stage = dir + "/stage";
  ChildResult r = runBuildShell(shellQuote(CORVANE_CMAKE_COMMAND) + " --install " + shellQuote(CORVANE_BUILD_DIR) +
                                  " --prefix /opt/kivtest --component host",
                                {"DESTDIR=" + stage});
  ASSERT_EQ(r.exitStatus, 0) << r.out << r.err;
  std::string service = readFileText(stage + CORVANE_UNIT_DIR + "/kivprinter-host.service");
  EXPECT_NE(service.find("\nExecStart=/opt/kivtest/bin/kivprinter-host --out /var/spool/kivprinter "
                         "$KIVPRINTER_HOST_OPTIONS\n"),
            std::string::npos)
    << service;
  EXPECT_TRUE(hostExists(stage + CORVANE_UNIT_DIR + "/kivprinter-host.socket"));
  EXPECT_TRUE(hostExists(stage + "/etc/default/kivprinter-host"));
  EXPECT_TRUE(hostExists(stage + "/opt/kivtest/bin/kivprinter-host"));
  removeTempDir(dir);
}

} // namespace
