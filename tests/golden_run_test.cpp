// Runs of the whole program on the simulated machine, each compared byte for
// byte with the files, the folders and the model a reference run left. A run
// is a folder of tests/data/golden: its scenario (scenario.json), the
// installation folder it starts from (seed/, optional), how many seconds it
// runs (run-for) and what it leaves (expected/). Any change of behaviour shows
// here; a deliberate one is recorded by running the test with
// TARNEX_UPDATE_GOLDEN=1, which rewrites the expected files.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

namespace fs = std::filesystem;

const std::string kGolden = std::string(TARNEX_SOURCE_DIR) + "/tests/data/golden";

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

// Every file under `root` but the single-instance lock, by relative path.
std::set<std::string> FilesUnder(const std::string& root) {
  std::set<std::string> out;
  for (const auto& e : fs::recursive_directory_iterator(root)) {
    if (!e.is_regular_file()) continue;
    const std::string rel = fs::relative(e.path(), root).string();
    if (rel != ".tarnex-server.lock") out.insert(rel);
  }
  return out;
}

// Every folder under `root`, a line each, sorted.
std::string FoldersUnder(const std::string& root) {
  std::set<std::string> found;
  for (const auto& e : fs::recursive_directory_iterator(root)) {
    if (e.is_directory()) found.insert(fs::relative(e.path(), root).string());
  }
  std::string out;
  for (const auto& f : found) out += f + "\n";
  return out;
}

class GoldenRun : public ::testing::TestWithParam<std::string> {};

TEST_P(GoldenRun, WritesTheSameFilesAndModel) {
  const std::string run = kGolden + "/" + GetParam();
  const std::string dir = MakeTempDir();
  const std::string app = dir + "/install";
  if (fs::exists(run + "/seed")) {
    fs::copy(run + "/seed", app, fs::copy_options::recursive);
  }
  const std::string dump = dir + "/model.json";
  std::string seconds = ReadFile(run + "/run-for");
  while (!seconds.empty() && std::isspace(static_cast<unsigned char>(seconds.back()))) {
    seconds.pop_back();
  }
  const std::string command = std::string(TARNEX_SERVER_BINARY) +
                              " --console off --platform sim --quiet --scenario '" + run +
                              "/scenario.json' --app-path '" + app + "' --run-for " + seconds +
                              " --dump-model '" + dump + "'";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;

  const std::string expected_dir = run + "/expected";
  const std::string model = Replace(ReadFile(dump), app, "@APP_PATH@");
  if (std::getenv("TARNEX_UPDATE_GOLDEN") != nullptr) {
    fs::remove_all(expected_dir);
    for (const auto& rel : FilesUnder(app)) {
      fs::create_directories(fs::path(expected_dir + "/" + rel).parent_path());
      fs::copy_file(app + "/" + rel, expected_dir + "/" + rel);
    }
    WriteFile(expected_dir + "/model.json", model);
    WriteFile(expected_dir + "/folders.txt", FoldersUnder(app));
  }

  std::set<std::string> expected = FilesUnder(expected_dir);
  expected.erase("model.json");
  expected.erase("folders.txt");
  EXPECT_EQ(FoldersUnder(app), ReadFile(expected_dir + "/folders.txt"));
  EXPECT_EQ(FilesUnder(app), expected);
  for (const auto& rel : expected) {
    EXPECT_TRUE(ReadFile(app + "/" + rel) == ReadFile(expected_dir + "/" + rel))
        << rel << " differs from the reference run";
  }
  EXPECT_TRUE(model == ReadFile(expected_dir + "/model.json"))
      << "the model dump differs from the reference run";
  fs::remove_all(dir);
}

// A day from just after midnight, every rule group on; the month's end with
// mail off and on (from 23:58 on its last day to 00:05 two days later); the
// same across a new year, with web-site tracking on; five minutes of an
// operator recording every figure for a minute and opening each window.
#if defined(__SANITIZE_ADDRESS__)
// Under the sanitizers a run takes minutes: the year's end with mail and
// tracking passes through the month's and the day's end too, and the
// operator's run through every window.
#define TARNEX_GOLDEN_RUNS "year-end-mail", "operator"
#else
#define TARNEX_GOLDEN_RUNS \
  "day", "month-end", "month-end-mail", "year-end", "year-end-mail", "operator"
#endif
INSTANTIATE_TEST_SUITE_P(Runs, GoldenRun, ::testing::Values(TARNEX_GOLDEN_RUNS),
                         [](const ::testing::TestParamInfo<std::string>& run) {
                           std::string name;
                           for (char c : run.param) {
                             if (std::isalnum(static_cast<unsigned char>(c))) name += c;
                           }
                           return name;
                         });

}  // namespace
}  // namespace tarnex::testing
