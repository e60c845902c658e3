/*
 * test_filter_ppd.cpp - the printer's PPD as CUPS's own checker sees it,
 * with the filter installed where the PPD's cupsFilter2 line points.
 *
 * The checker must pass it.  The only warnings allowed are the ones the
 * PPD explains: each zero-margin size keeps the paper table's name instead
 * of the ".Fullbleed" name the checker suggests.
 */
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "child_process.h"
#include "test_files.h"

namespace {

TEST(FilterPpd, CheckerPassesWithOnlyTheExplainedSizeWarnings)
{
  std::string root = makeTempDir("ppd-root");
  ASSERT_FALSE(root.empty());
  /* The filter where the PPD's cupsFilter2 line says, below the root the
     checker is given. */
  for (const char *dir : {"/usr", "/usr/lib", "/usr/lib/cups", "/usr/lib/cups/filter"})
    ASSERT_EQ(mkdir((root + dir).c_str(), 0755), 0) << dir;
  ASSERT_EQ(symlink(CORVANE_BIN_DIR "/rastertocorvane", (root + "/usr/lib/cups/filter/rastertocorvane").c_str()), 0);

  std::string ppd = std::string(CORVANE_BUILD_DIR) + "/ppd/corvane.ppd";
  ChildOptions o;
  o.argv = {"/usr/bin/cupstestppd", "-W", "all", "-R", root, ppd};
  o.env = environmentWithout({});
  o.stdinIsDevNull = true;
  ChildResult r = runChild(o);
  removeTempDir(root);

  ASSERT_TRUE(r.exited) << r.out << r.err;
  EXPECT_EQ(r.exitStatus, 0) << r.out << r.err;
  std::string expected = ppd + ": PASS\n";
  for (const char *size : {"A4", "A3", "A5", "B4", "B5", "Letter", "Legal", "Executive", "Tabloid", "Statement",
                           "Env10", "EnvDL", "EnvC5", "EnvMonarch"})
    expected += std::string("        WARN    Size \"") + size + "\" should be the Adobe standard name \"" + size +
                ".Fullbleed\".\n";
  EXPECT_EQ(r.out + r.err, expected);
}

} // namespace
