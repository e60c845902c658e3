/*
 * test_host_install.cpp - cmake --install into a temporary DESTDIR, then a
 * small program built against the installed library with nothing but
 * `pkg-config --cflags --libs kivruntime` (PKG_CONFIG_PATH pointing into
 * the staging tree).
 */
#include <sys/stat.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "host_support.h"

namespace {

/* A value of the build's CMakeCache.txt ("NAME:TYPE=value"), or "". */
std::string cacheValue(const std::string &name)
{
  std::string cache = readFileText(std::string(CORVANE_BUILD_DIR) + "/CMakeCache.txt");
  size_t at = cache.find("\n" + name + ":");
  if (at == std::string::npos)
    return std::string();
  size_t eq = cache.find('=', at);
  size_t end = cache.find('\n', eq);
  return cache.substr(eq + 1, end - eq - 1);
}

unsigned modeOf(const std::string &path)
{
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? (unsigned)(st.st_mode & 07777) : 0u;
}

const char kProgram[] =
  "#include <KivString_unix.h>\n"
  "#include <stdio.h>\n"
  "int main()\n"
  "{\n"
  "  wchar_t wide[8];\n"
  "  unsigned n = KivStrDecodeUTF8(wide, 8, \"P1\", (unsigned)-1);\n"
  "  unsigned char bytes[16];\n"
  "  unsigned size = KivStrSerialize(bytes, sizeof bytes, wide, n);\n"
  "  for (unsigned i = 0; i < size; i++)\n"
  "    printf(\"%02X \", bytes[i]);\n"
  "  printf(\"(%u characters)\\n\", n);\n"
  "  return 0;\n"
  "}\n";

} // namespace

TEST(HostInstall, StagedInstallAndAProgramBuiltWithPkgConfig)
{
  std::string dir = makeTempDir("host-install");
  ASSERT_FALSE(dir.empty());
  std::string stage = dir + "/stage";
  std::string prefix = "/opt/kivtest";
  ChildResult r = runBuildShell(std::string(CORVANE_CMAKE_COMMAND) + " --install " + shellQuote(CORVANE_BUILD_DIR) +
                                  " --prefix " + prefix,
                                {"DESTDIR=" + stage}, 120);
  ASSERT_EQ(r.exitStatus, 0) << r.out << r.err;

  std::string root = stage + prefix;
  /* An absolute backend folder is the CUPS one; a relative one lies under
     the prefix. */
  std::string backendDir = cacheValue("CORVANE_CUPS_BACKEND_DIR");
  ASSERT_FALSE(backendDir.empty());
  std::string backend = (backendDir[0] == '/' ? stage : root + "/") + backendDir + "/CorvaneBackend";
  EXPECT_EQ(modeOf(backend), 0755u) << backend << "\n"
                                    << r.out;
  EXPECT_EQ(modeOf(root + "/bin/kivprinter-host") & 0111, 0111u);
  EXPECT_EQ(modeOf(root + "/bin/kivprinter-mkstream") & 0111, 0111u);
  std::string libdir = root + "/" + CORVANE_INSTALL_LIBDIR;
  EXPECT_TRUE(hostExists(libdir + "/libkivruntime.a"));
  /* Every header of the library's source folder but the private one that
     chooses its vector paths. */
  std::vector<std::string> sources = hostListDir(std::string(CORVANE_SOURCE_DIR) + "/libs/kivruntime/dev/src/unix");
  std::vector<std::string> headers;
  for (const std::string &name : sources)
    if (name.size() > 2 && name.compare(name.size() - 2, 2, ".h") == 0 && name != "KivVector_unix.h")
      headers.push_back(name);
  EXPECT_EQ(hostListDir(root + "/include/kivruntime"), headers);
  /* The pkg-config file names no staging path: it finds its prefix from
     its own place. */
  std::string pc = readFileText(libdir + "/pkgconfig/kivruntime.pc");
  EXPECT_NE(pc.find("prefix=${pcfiledir}/"), std::string::npos) << pc;
  EXPECT_EQ(pc.find(stage), std::string::npos) << pc;
  EXPECT_NE(pc.find("Cflags: -I${includedir}/kivruntime\n"), std::string::npos) << pc;
  EXPECT_NE(pc.find("Libs: -L${libdir} -lkivruntime\n"), std::string::npos) << pc;

  ASSERT_TRUE(writeFileBytes(dir + "/demo.cpp", kProgram));
  std::string pkgPath = "PKG_CONFIG_PATH=" + libdir + "/pkgconfig";
  r = runBuildShell("pkg-config --cflags --libs kivruntime", {pkgPath}, 120);
  ASSERT_EQ(r.exitStatus, 0) << r.err;
  EXPECT_EQ(r.out.find("-I" + libdir + "/pkgconfig/../"), 0u) << r.out;
  EXPECT_NE(r.out.find("/include/kivruntime -L" + libdir + "/pkgconfig/../"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find(" -lkivruntime"), std::string::npos) << r.out;
  r = runBuildShell(std::string(CORVANE_CXX_COMPILER) + " " + CORVANE_EXTRA_FLAGS + " -o " + shellQuote(dir + "/demo") +
                      " " + shellQuote(dir + "/demo.cpp") + " $(pkg-config --cflags --libs kivruntime)",
                    {pkgPath}, 120);
  ASSERT_EQ(r.exitStatus, 0) << r.out << r.err;
  r = runBuildShell(shellQuote(dir + "/demo"), {}, 120);
  EXPECT_EQ(r.exitStatus, 0) << r.err;
  EXPECT_EQ(r.out, "50 00 31 00 00 00 (2 characters)\n");
  removeTempDir(dir);
}
