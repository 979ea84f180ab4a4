#include "platform/native/native_path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

namespace tarnex {
namespace {

class NativePathTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/native_path_test.XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    root_ = pattern;
  }
  void TearDown() override {
    std::error_code ec;
    std::filesystem::remove_all(root_, ec);
  }

  void MakeDir(const std::string& relative) {
    ASSERT_EQ(::mkdir((root_ + "/" + relative).c_str(), 0755), 0) << relative;
  }
  void MakeFile(const std::string& relative) {
    std::ofstream out(root_ + "/" + relative, std::ios::binary);
    ASSERT_TRUE(out.good()) << relative;
    out << "x";
  }

  std::string root_;
};

TEST_F(NativePathTest, BackslashesBecomeSlashes) {
  EXPECT_EQ(NativePath(root_ + "\\Bin\\Tarnex.Tnx"), root_ + "/Bin/Tarnex.Tnx");
  EXPECT_EQ(NativePath(root_ + "/Bin\\"), root_ + "/Bin/");
}

TEST_F(NativePathTest, RepeatedSeparatorsCollapse) {
  EXPECT_EQ(NativePath(root_ + "\\\\Bin//\\Tarnex.Tnx"), root_ + "/Bin/Tarnex.Tnx");
  EXPECT_EQ(NativePath("//" + root_.substr(1) + "/a"), root_ + "/a");
  EXPECT_EQ(NativePath("\\\\"), "/");
}

TEST_F(NativePathTest, EmptyNameStaysEmpty) {
  EXPECT_EQ(NativePath(""), "");
}

TEST_F(NativePathTest, ExistingPathWithExactCaseIsUnchanged) {
  MakeDir("Bin");
  MakeFile("Bin/Tarnex.Tnx");
  EXPECT_EQ(NativePath(root_ + "\\Bin\\Tarnex.Tnx"), root_ + "/Bin/Tarnex.Tnx");
  EXPECT_EQ(NativePath(root_ + "/Bin"), root_ + "/Bin");
}

TEST_F(NativePathTest, ComponentsResolveWithoutRegardToCase) {
  MakeDir("bin");
  MakeFile("bin/Tarnex.Tnx");
  EXPECT_EQ(NativePath(root_ + "\\BIN\\tarnex.tnx"), root_ + "/bin/Tarnex.Tnx");
  EXPECT_EQ(NativePath(root_ + "\\Bin\\TARNEX.TNX"), root_ + "/bin/Tarnex.Tnx");
  EXPECT_EQ(NativePath(root_ + "\\bin\\tarnex.TNX"), root_ + "/bin/Tarnex.Tnx");
}

TEST_F(NativePathTest, MissingLastComponentKeepsItsSpellingInResolvedFolder) {
  MakeDir("bin");
  EXPECT_EQ(NativePath(root_ + "\\BIN\\tarnex.tnx"), root_ + "/bin/tarnex.tnx");
  EXPECT_EQ(NativePath(root_ + "\\Bin\\New File.TXT"), root_ + "/bin/New File.TXT");
}

TEST_F(NativePathTest, ComponentsAfterMissingOneKeepTheirSpelling) {
  MakeDir("bin");
  MakeDir("bin/data");
  // "Missing" does not exist, so "BIN" after it is not looked up either,
  // even though a "bin" exists at the top.
  EXPECT_EQ(NativePath(root_ + "\\Missing\\BIN"), root_ + "/Missing/BIN");
  EXPECT_EQ(NativePath(root_ + "\\BIN\\Nope\\DATA"), root_ + "/bin/Nope/DATA");
}

TEST_F(NativePathTest, ExactCaseMatchWinsOverCaseBlindOne) {
  MakeDir("data");
  MakeDir("Data");
  MakeFile("data/a");
  EXPECT_EQ(NativePath(root_ + "\\data\\A"), root_ + "/data/a");
  EXPECT_EQ(NativePath(root_ + "\\Data\\A"), root_ + "/Data/A");
}

TEST_F(NativePathTest, CaseBlindChoiceIsSmallestNameInByteOrder) {
  MakeFile("abc");
  MakeFile("Abc");
  MakeFile("ABC");
  EXPECT_EQ(NativePath(root_ + "\\aBc"), root_ + "/ABC");
  EXPECT_EQ(NativePath(root_ + "\\abC"), root_ + "/ABC");
  EXPECT_EQ(NativePath(root_ + "\\Abc"), root_ + "/Abc");
}

TEST_F(NativePathTest, OnlyAsciiLettersFold) {
  MakeFile("caf\xc3\xa9");  // "café" in UTF-8
  EXPECT_EQ(NativePath(root_ + "\\CAF\xc3\xa9"), root_ + "/caf\xc3\xa9");
  // The two bytes of "É" differ from those of "é" and are not folded.
  EXPECT_EQ(NativePath(root_ + "\\caf\xc3\x89"), root_ + "/caf\xc3\x89");
}

TEST_F(NativePathTest, RelativeNameStaysRelative) {
  MakeDir("bin");
  MakeFile("bin/Tarnex.Tnx");
  char saved[4096];
  ASSERT_NE(::getcwd(saved, sizeof saved), nullptr);
  ASSERT_EQ(::chdir(root_.c_str()), 0);
  const std::string resolved = NativePath("BIN\\TARNEX.tnx");
  const std::string missing = NativePath("Other\\File.txt");
  const std::string exact = NativePath("bin\\Tarnex.Tnx");
  ASSERT_EQ(::chdir(saved), 0);
  EXPECT_EQ(resolved, "bin/Tarnex.Tnx");
  EXPECT_EQ(missing, "Other/File.txt");
  EXPECT_EQ(exact, "bin/Tarnex.Tnx");
}

TEST_F(NativePathTest, DotAndDotDotPassThroughUnchanged) {
  MakeDir("bin");
  MakeFile("bin/Tarnex.Tnx");
  EXPECT_EQ(NativePath(root_ + "\\bin\\..\\BIN\\.\\TARNEX.TNX"),
            root_ + "/bin/../bin/./Tarnex.Tnx");
  EXPECT_EQ(NativePath(root_ + "\\.\\Bin\\..\\bin"), root_ + "/./bin/../bin");
}

TEST_F(NativePathTest, TrailingSeparatorIsKept) {
  MakeDir("bin");
  EXPECT_EQ(NativePath(root_ + "\\BIN\\"), root_ + "/bin/");
  EXPECT_EQ(NativePath(root_ + "\\bin\\"), root_ + "/bin/");
}

TEST_F(NativePathTest, NameBelowAFileIsNotLookedUp) {
  MakeDir("bin");
  MakeFile("bin/Tarnex.Tnx");
  EXPECT_EQ(NativePath(root_ + "\\BIN\\TARNEX.TNX\\More"), root_ + "/bin/Tarnex.Tnx/More");
}

TEST_F(NativePathTest, DeepNameResolvesEveryLevel) {
  MakeDir("Events");
  MakeDir("Events/Tracked");
  MakeFile("Events/Tracked/Track1.dat");
  EXPECT_EQ(NativePath(root_ + "\\events\\TRACKED\\track1.DAT"),
            root_ + "/Events/Tracked/Track1.dat");
  // A resolved name really is the file.
  struct stat st;
  EXPECT_EQ(::stat(NativePath(root_ + "\\EVENTS\\tracked\\TRACK1.dat").c_str(), &st), 0);
}

}  // namespace
}  // namespace tarnex
