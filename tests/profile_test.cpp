#include "core/profile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "platform/fault_platform.h"
#include "platform/native/native_files.h"

namespace tarnex {
namespace {

using namespace std::string_literals;

class ProfileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/profile_test.XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    dir_ = pattern;
    path_ = dir_ + "/Tarnex.Tnx";
  }
  void TearDown() override {
    ::chmod(dir_.c_str(), 0700);
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
  }

  // Writes the file the way another program would: in place, no rename.
  void Put(const std::string& bytes) { PutAt(path_, bytes); }
  static void PutAt(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    ASSERT_TRUE(out.good()) << path;
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(out.good()) << path;
  }
  std::string Contents() const { return ContentsOf(path_); }
  static std::string ContentsOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  std::vector<std::string> DirEntries() const {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir_)) {
      names.push_back(e.path().filename().string());
    }
    return names;
  }
  static void SetMtime(const std::string& path, time_t sec, long nsec) {
    timespec times[2];
    times[0].tv_sec = 0;
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = sec;
    times[1].tv_nsec = nsec;
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }
  static struct stat StatOf(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::stat(path.c_str(), &st), 0) << path;
    return st;
  }

  // A write as one step: the store takes it, and the file is written as it
  // is when the program's loop next waits.
  static bool WriteNow(ProfileStore& store, const std::string& path, std::string_view section,
                       std::optional<std::string_view> key, std::optional<std::string_view> value) {
    return store.Write(path, section, key, value) && store.Flush();
  }
  bool Write(const std::string& path, std::string_view section, std::optional<std::string_view> key,
             std::optional<std::string_view> value) {
    return WriteNow(store_, path, section, key, value);
  }

  std::string dir_;
  std::string path_;
  NativeFiles files_;
  ProfileStore store_{files_};
};

// ---------------------------------------------------------------- reading

TEST_F(ProfileTest, SectionAndKeyNamesMatchWithoutRegardToCase) {
  Put("[Server]\r\nSMTP Host=mail.example.com\r\n");
  EXPECT_EQ(store_.Read(path_, "Server", "SMTP Host"), "mail.example.com");
  EXPECT_EQ(store_.Read(path_, "SERVER", "smtp host"), "mail.example.com");
  EXPECT_EQ(store_.Read(path_, "server", "Smtp HOST"), "mail.example.com");
}

TEST_F(ProfileTest, ValueComesBackInStoredCase) {
  Put("[Server]\r\nName=MixedCase Value\r\n");
  EXPECT_EQ(store_.Read(path_, "server", "NAME"), "MixedCase Value");
}

TEST_F(ProfileTest, SpacesAndTabsAroundKeysAndValuesAreIgnored) {
  Put("[S]\r\n  \tKey One \t=  \t value one\r\n\tKey2\t=\tv2\t\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "Key One"), "value one");
  EXPECT_EQ(store_.Read(path_, "S", "key2"), "v2");
}

TEST_F(ProfileTest, BlanksBeforeBracketAndInsideBracketsAreIgnored) {
  Put(" \t[ \tMy Section\t ]\r\nk=1\r\n");
  EXPECT_EQ(store_.Read(path_, "My Section", "k"), "1");
  EXPECT_EQ(store_.Read(path_, "my section", "K"), "1");
}

TEST_F(ProfileTest, TrailingBlanksOfValueAreRemovedOnReading) {
  Put("[S]\r\nkey=x y \r\ntab=a\tb\t\t\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "key"), "x y");
  EXPECT_EQ(store_.Read(path_, "S", "tab"), "a\tb");
}

TEST_F(ProfileTest, ValueInMatchingQuotesLosesThatPair) {
  Put("[S]\r\n"
      "dq=\"  quoted value \"\r\n"
      "sq='single'\r\n"
      "mixed=\"not a pair'\r\n"
      "inner=\"a\"b\"\r\n"
      "one=\"\r\n"
      "twice=\"\"x\"\"\r\n"
      "empty=\"\"\r\n"
      "blanks=  'x'  \r\n"
      "middle=a\"b\"\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "dq"), "  quoted value ");
  EXPECT_EQ(store_.Read(path_, "S", "sq"), "single");
  EXPECT_EQ(store_.Read(path_, "S", "mixed"), "\"not a pair'");
  EXPECT_EQ(store_.Read(path_, "S", "inner"), "a\"b");
  EXPECT_EQ(store_.Read(path_, "S", "one"), "\"");
  EXPECT_EQ(store_.Read(path_, "S", "twice"), "\"x\"");
  EXPECT_EQ(store_.Read(path_, "S", "empty"), "");
  EXPECT_EQ(store_.Read(path_, "S", "blanks"), "x");
  EXPECT_EQ(store_.Read(path_, "S", "middle"), "a\"b\"");
}

TEST_F(ProfileTest, LineStartingWithSemicolonIsComment) {
  Put("[S]\r\n;hidden=1\r\n  \t;also=2\r\nshown=3\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "hidden"), "");
  EXPECT_EQ(store_.Read(path_, "S", ";hidden"), "");
  EXPECT_EQ(store_.Read(path_, "S", "also"), "");
  EXPECT_EQ(store_.Read(path_, "S", "shown"), "3");
  EXPECT_EQ(store_.SectionKeys(path_, "S"), "shown\0"s);
}

TEST_F(ProfileTest, SemicolonInsideValueIsPartOfIt) {
  Put("[S]\r\nk=a;b ; c\r\nk2=;lead\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "k"), "a;b ; c");
  EXPECT_EQ(store_.Read(path_, "S", "k2"), ";lead");
}

TEST_F(ProfileTest, LineWithoutEqualsIsNotAKey) {
  Put("[S]\r\nnokey\r\nnokey here\r\nreal=1\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "nokey"), "");
  EXPECT_EQ(store_.Read(path_, "S", "nokey here"), "");
  EXPECT_EQ(store_.SectionKeys(path_, "S"), "real\0"s);
}

TEST_F(ProfileTest, KeyWithEmptyValueAndMissingKeyBothReadEmpty) {
  Put("[S]\r\nempty=\r\nblank=   \r\nfull=1\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "empty"), "");
  EXPECT_EQ(store_.Read(path_, "S", "blank"), "");
  EXPECT_EQ(store_.Read(path_, "S", "absent"), "");
  // The empty ones are keys all the same; the missing one is not.
  EXPECT_EQ(store_.SectionKeys(path_, "S"), "empty\0blank\0full\0"s);
}

TEST_F(ProfileTest, CrLfCrAndLfLineEndsAreAllRead) {
  Put("[A]\r\na=1\r\n[B]\rb=2\rb2=22\r[C]\nc=3\nc2=33");
  EXPECT_EQ(store_.Read(path_, "A", "a"), "1");
  EXPECT_EQ(store_.Read(path_, "B", "b"), "2");
  EXPECT_EQ(store_.Read(path_, "B", "b2"), "22");
  EXPECT_EQ(store_.Read(path_, "C", "c"), "3");
  EXPECT_EQ(store_.Read(path_, "C", "c2"), "33");
  // A CR that is not followed by LF ends its line: no value runs into the next.
  EXPECT_EQ(store_.Read(path_, "A", "b"), "");
}

TEST_F(ProfileTest, FirstOccurrenceOfKeyWins) {
  Put("[S]\r\nk=first\r\nK=second\r\nk=third\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "k"), "first");
  EXPECT_EQ(store_.SectionKeys(path_, "S"), "k\0"s);
}

TEST_F(ProfileTest, FirstOccurrenceOfSectionWins) {
  Put("[S]\r\nk=first\r\n[T]\r\nt=1\r\n[s]\r\nk=second\r\nonly=later\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "k"), "first");
  EXPECT_EQ(store_.Read(path_, "S", "only"), "");
  EXPECT_EQ(store_.SectionKeys(path_, "s"), "k\0"s);
}

TEST_F(ProfileTest, ResultIsCutToBufferSizeLessOne) {
  const std::string long_value(1100, 'v');
  Put("[S]\r\nlong=" + long_value + "\r\nshort=abcdef\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "long"), std::string(1023, 'v'));
  EXPECT_EQ(store_.Read(path_, "S", "long", 2000), long_value);
  EXPECT_EQ(store_.Read(path_, "S", "short", 5), "abcd");
  EXPECT_EQ(store_.Read(path_, "S", "short", 7), "abcdef");
  EXPECT_EQ(store_.Read(path_, "S", "short", 1), "");
  EXPECT_EQ(store_.Read(path_, "S", "short", 0), "");
}

TEST_F(ProfileTest, MissingFileSectionOrKeyReadsEmpty) {
  EXPECT_EQ(store_.Read(path_, "S", "k"), "");
  EXPECT_EQ(store_.Read(dir_ + "/no/such/folder/x.tnx", "S", "k"), "");
  Put("[S]\r\nk=1\r\n");
  EXPECT_EQ(store_.Read(path_, "Other", "k"), "");
  EXPECT_EQ(store_.Read(path_, "S", "other"), "");
  EXPECT_EQ(store_.Read(dir_, "S", "k"), "");  // a folder is not a profile file
}

TEST_F(ProfileTest, LookupNamesAreTrimmedLikeStoredOnes) {
  Put("[S]\r\nk=1\r\n");
  EXPECT_EQ(store_.Read(path_, " S\t", "\tk "), "1");
}

TEST_F(ProfileTest, HeaderWithoutClosingBracketNamesRestOfLine) {
  Put("[Open Section \r\nk=1\r\n[a]b] \r\nk=2\r\n");
  EXPECT_EQ(store_.Read(path_, "Open Section", "k"), "1");
  // The name runs to the last ']' on the line.
  EXPECT_EQ(store_.Read(path_, "a]b", "k"), "2");
}

TEST_F(ProfileTest, KeysBeforeFirstSectionBelongToNoSection) {
  Put("loose=1\r\n[S]\r\nk=2\r\n");
  EXPECT_EQ(store_.Read(path_, "", "loose"), "");
  EXPECT_EQ(store_.Read(path_, "S", "loose"), "");
  EXPECT_EQ(store_.Read(path_, "S", "k"), "2");
}

TEST_F(ProfileTest, BytesAboveAsciiAreKeptAndMatchedExactly) {
  Put("[Caf\xe9]\r\nN\xe9=\xc9t\xe9\r\n");
  EXPECT_EQ(store_.Read(path_, "CAF\xe9", "n\xe9"), "\xc9t\xe9");
  EXPECT_EQ(store_.Read(path_, "CAF\xc9", "n\xe9"), "");
}

// ---------------------------------------------------------------- writing

TEST_F(ProfileTest, MissingFileIsCreatedWithSectionAndKey) {
  ASSERT_TRUE(Write(path_, "Sec", "key", "value"));
  EXPECT_EQ(Contents(), "[Sec]\r\nkey=value\r\n");
  EXPECT_EQ(store_.Read(path_, "Sec", "key"), "value");
}

TEST_F(ProfileTest, AllLineEndsWrittenAreCrLf) {
  ASSERT_TRUE(Write(path_, "A", "a", "1"));
  ASSERT_TRUE(Write(path_, "A", "b", "2"));
  ASSERT_TRUE(Write(path_, "B", "c", "3"));
  ASSERT_TRUE(Write(path_, "A", "a", "11"));
  EXPECT_EQ(Contents(), "[A]\r\na=11\r\nb=2\r\n[B]\r\nc=3\r\n");
}

TEST_F(ProfileTest, SectionAndKeyNamesAreWrittenTrimmed) {
  ASSERT_TRUE(Write(path_, " \tSec ", "\t key \t", "v"));
  EXPECT_EQ(Contents(), "[Sec]\r\nkey=v\r\n");
  ASSERT_TRUE(Write(path_, "Sec", "  other ", "w"));
  EXPECT_EQ(Contents(), "[Sec]\r\nkey=v\r\nother=w\r\n");
}

TEST_F(ProfileTest, ValueIsWrittenByteForByte) {
  const std::string value = "  \"q\" ;x\t\xe9\xff ";
  ASSERT_TRUE(Write(path_, "S", "k", value));
  EXPECT_EQ(Contents(), "[S]\r\nk=" + value + "\r\n");
  // Reading applies the reading rules to the stored bytes.
  EXPECT_EQ(store_.Read(path_, "S", "k"), "\"q\" ;x\t\xe9\xff");
}

TEST_F(ProfileTest, ExistingKeyIsReplacedInPlaceKeepingItsSpelling) {
  Put("[S]\r\nfirst=1\r\n  Mixed Key = old value \r\nlast=3\r\n");
  ASSERT_TRUE(Write(path_, "s", "MIXED KEY", "new"));
  EXPECT_EQ(Contents(), "[S]\r\nfirst=1\r\nMixed Key=new\r\nlast=3\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "mixed key"), "new");
}

TEST_F(ProfileTest, KeyWrittenInUpperThenLowerCaseIsOneKey) {
  ASSERT_TRUE(Write(path_, "Email", "SMTP", "a.example.com"));
  ASSERT_TRUE(Write(path_, "email", "smtp", "b.example.com"));
  EXPECT_EQ(Contents(), "[Email]\r\nSMTP=b.example.com\r\n");
  EXPECT_EQ(store_.Read(path_, "EMAIL", "Smtp"), "b.example.com");
}

TEST_F(ProfileTest, NewKeyGoesDirectlyAfterLastKeyLineOfItsSection) {
  Put("[A]\r\na=1\r\nnot a key\r\nb=2\r\n\r\n; about B\r\n[B]\r\nc=3\r\n");
  ASSERT_TRUE(Write(path_, "a", "new", "4"));
  EXPECT_EQ(Contents(),
            "[A]\r\na=1\r\nnot a key\r\nb=2\r\nnew=4\r\n\r\n; about B\r\n[B]\r\nc=3\r\n");
  ASSERT_TRUE(Write(path_, "B", "d", "5"));
  EXPECT_EQ(Contents(),
            "[A]\r\na=1\r\nnot a key\r\nb=2\r\nnew=4\r\n\r\n; about B\r\n[B]\r\nc=3\r\nd=5\r\n");
}

TEST_F(ProfileTest, NewKeyInSectionWithoutKeysGoesDirectlyAfterHeader) {
  Put("[Empty]\r\n; note\r\n\r\n[Next]\r\nx=1\r\n");
  ASSERT_TRUE(Write(path_, "Empty", "k", "v"));
  EXPECT_EQ(Contents(), "[Empty]\r\nk=v\r\n; note\r\n\r\n[Next]\r\nx=1\r\n");
}

TEST_F(ProfileTest, NewKeyAfterUnterminatedLastLineEndsThatLineFirst) {
  Put("[S]\r\na=1");
  ASSERT_TRUE(Write(path_, "S", "b", "2"));
  EXPECT_EQ(Contents(), "[S]\r\na=1\r\nb=2\r\n");
  Put("[T]");
  ASSERT_TRUE(Write(path_, "T", "c", "3"));
  EXPECT_EQ(Contents(), "[T]\r\nc=3\r\n");
}

TEST_F(ProfileTest, NewSectionIsAppendedAtEndWithoutBlankLine) {
  Put("[A]\r\na=1\r\n\r\n; trailing comment\r\n");
  ASSERT_TRUE(Write(path_, "New", "k", "v"));
  EXPECT_EQ(Contents(), "[A]\r\na=1\r\n\r\n; trailing comment\r\n[New]\r\nk=v\r\n");
}

TEST_F(ProfileTest, NewSectionAfterUnterminatedLastLineGetsLineEndFirst) {
  Put("[A]\r\na=1");
  ASSERT_TRUE(Write(path_, "B", "b", "2"));
  EXPECT_EQ(Contents(), "[A]\r\na=1\r\n[B]\r\nb=2\r\n");
  // A last line ended by a lone CR or LF is already terminated.
  Put("[A]\na=1\n");
  ASSERT_TRUE(Write(path_, "B", "b", "2"));
  EXPECT_EQ(Contents(), "[A]\na=1\n[B]\r\nb=2\r\n");
  Put("[A]\ra=1\r");
  ASSERT_TRUE(Write(path_, "B", "b", "2"));
  EXPECT_EQ(Contents(), "[A]\ra=1\r[B]\r\nb=2\r\n");
}

TEST_F(ProfileTest, EmptyExistingFileGetsSectionAndKey) {
  Put("");
  ASSERT_TRUE(Write(path_, "S", "k", "v"));
  EXPECT_EQ(Contents(), "[S]\r\nk=v\r\n");
}

TEST_F(ProfileTest, NullValueDeletesKeyLine) {
  Put("[S]\r\na=1\r\nB=2\r\nc=3\r\n[T]\r\nb=9\r\n");
  ASSERT_TRUE(Write(path_, "S", "b", std::nullopt));
  EXPECT_EQ(Contents(), "[S]\r\na=1\r\nc=3\r\n[T]\r\nb=9\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "b"), "");
  EXPECT_EQ(store_.Read(path_, "T", "b"), "9");
}

TEST_F(ProfileTest, NullValueDeletesEveryLineOfThatKeyInSection) {
  Put("[S]\r\nk=1\r\nx=2\r\nK=3\r\n");
  ASSERT_TRUE(Write(path_, "S", "k", std::nullopt));
  EXPECT_EQ(Contents(), "[S]\r\nx=2\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "k"), "");
}

TEST_F(ProfileTest, NullValueOnUnterminatedLastLineDeletesIt) {
  Put("[S]\r\na=1\r\nb=2");
  ASSERT_TRUE(Write(path_, "S", "b", std::nullopt));
  EXPECT_EQ(Contents(), "[S]\r\na=1\r\n");
}

TEST_F(ProfileTest, NullKeyDeletesSectionUpToNextSection) {
  Put("; head\r\n[A]\r\na=1\r\n[Gone]\r\nx=1\r\n; note\r\n\r\ny=2\r\n[C]\r\nc=3\r\n");
  ASSERT_TRUE(Write(path_, "gone", std::nullopt, std::nullopt));
  EXPECT_EQ(Contents(), "; head\r\n[A]\r\na=1\r\n[C]\r\nc=3\r\n");
  EXPECT_EQ(store_.Read(path_, "Gone", "x"), "");
  ASSERT_TRUE(Write(path_, "C", std::nullopt, "ignored"));
  EXPECT_EQ(Contents(), "; head\r\n[A]\r\na=1\r\n");
}

TEST_F(ProfileTest, NullKeyDeletesEveryBlockOfTheSection) {
  Put("[S]\r\na=1\r\n[T]\r\nt=1\r\n[s]\r\nb=2\r\n");
  ASSERT_TRUE(Write(path_, "S", std::nullopt, std::nullopt));
  EXPECT_EQ(Contents(), "[T]\r\nt=1\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "b"), "");
}

TEST_F(ProfileTest, DeletingWhatIsNotThereChangesNothing) {
  ASSERT_TRUE(Write(path_, "S", "k", std::nullopt));
  ASSERT_TRUE(Write(path_, "S", std::nullopt, std::nullopt));
  EXPECT_FALSE(std::filesystem::exists(path_));  // no file is created
  Put("[S]\r\nk=1\r\n");
  const struct stat before = StatOf(path_);
  ASSERT_TRUE(Write(path_, "S", "other", std::nullopt));
  ASSERT_TRUE(Write(path_, "T", "k", std::nullopt));
  ASSERT_TRUE(Write(path_, "T", std::nullopt, std::nullopt));
  EXPECT_EQ(StatOf(path_).st_ino, before.st_ino);
  EXPECT_EQ(Contents(), "[S]\r\nk=1\r\n");
}

TEST_F(ProfileTest, EmptyValueWritesKeyWithEquals) {
  ASSERT_TRUE(Write(path_, "S", "k", ""));
  EXPECT_EQ(Contents(), "[S]\r\nk=\r\n");
  ASSERT_TRUE(Write(path_, "S", "k", "x"));
  ASSERT_TRUE(Write(path_, "S", "k", ""));
  EXPECT_EQ(Contents(), "[S]\r\nk=\r\n");
  EXPECT_EQ(store_.SectionKeys(path_, "S"), "k\0"s);
}

TEST_F(ProfileTest, WritingIntoLfFileKeepsOtherLinesBytes) {
  Put("[A]\na = 1 \n;c\n[B]\nb=2\n");
  ASSERT_TRUE(Write(path_, "A", "new", "n"));
  EXPECT_EQ(Contents(), "[A]\na = 1 \nnew=n\r\n;c\n[B]\nb=2\n");
  ASSERT_TRUE(Write(path_, "B", "b", "3"));
  EXPECT_EQ(Contents(), "[A]\na = 1 \nnew=n\r\n;c\n[B]\nb=3\r\n");
}

TEST_F(ProfileTest, WriteIntoExistingSectionSpelledDifferentlyKeepsHeader) {
  Put("[Server]\r\na=1\r\n");
  ASSERT_TRUE(Write(path_, "SERVER", "b", "2"));
  EXPECT_EQ(Contents(), "[Server]\r\na=1\r\nb=2\r\n");
}

TEST_F(ProfileTest, WriteGoesToFirstBlockOfRepeatedSection) {
  Put("[S]\r\na=1\r\n[T]\r\n[S]\r\nb=2\r\n");
  ASSERT_TRUE(Write(path_, "S", "c", "3"));
  EXPECT_EQ(Contents(), "[S]\r\na=1\r\nc=3\r\n[T]\r\n[S]\r\nb=2\r\n");
  ASSERT_TRUE(Write(path_, "S", "b", "4"));
  EXPECT_EQ(Contents(), "[S]\r\na=1\r\nc=3\r\nb=4\r\n[T]\r\n[S]\r\nb=2\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "b"), "4");
}

TEST_F(ProfileTest, RewritingSameContentLeavesFileUntouched) {
  ASSERT_TRUE(Write(path_, "S", "k", "v"));
  const struct stat before = StatOf(path_);
  ASSERT_TRUE(Write(path_, "s", "K", "v"));
  const struct stat after = StatOf(path_);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(Contents(), "[S]\r\nk=v\r\n");
}

TEST_F(ProfileTest, WriteKeepsFilePermissions) {
  Put("[S]\r\nk=1\r\n");
  ASSERT_EQ(::chmod(path_.c_str(), 0640), 0);
  ASSERT_TRUE(Write(path_, "S", "k", "2"));
  EXPECT_EQ(StatOf(path_).st_mode & 07777, 0640u);
  EXPECT_EQ(Contents(), "[S]\r\nk=2\r\n");
}

TEST_F(ProfileTest, WriteToFileInMissingFolderFails) {
  const std::string path = dir_ + "/NoSuchFolder/x.tnx";
  EXPECT_FALSE(Write(path, "S", "k", "v"));
  EXPECT_FALSE(std::filesystem::exists(dir_ + "/NoSuchFolder"));
  EXPECT_EQ(DirEntries().size(), 0u);
}

TEST_F(ProfileTest, WriteOverAFolderFails) {
  ASSERT_EQ(::mkdir(path_.c_str(), 0755), 0);
  EXPECT_FALSE(Write(path_, "S", "k", "v"));
  EXPECT_TRUE(std::filesystem::is_directory(path_));
}

// A store whose file operations fail as a test says.
class FaultyProfileTest : public ProfileTest {
 protected:
  FaultInjector faults_;
  FaultFiles faulty_{faults_, files_};
  ProfileStore faulty_store_{faulty_};
};

TEST_F(FaultyProfileTest, FailedRenameKeepsTheOldFileAndNoTemporaryFile) {
  Put("[S]\r\nk=old\r\n");
  faults_.Inject({.op = "rename", .subject = "", .times = 1});
  EXPECT_TRUE(faulty_store_.Write(path_, "S", "k", "new"));
  EXPECT_FALSE(faulty_store_.Flush());
  EXPECT_EQ(faults_.Failed("rename"), 1);
  EXPECT_EQ(Contents(), "[S]\r\nk=old\r\n");
  EXPECT_EQ(faulty_store_.Read(path_, "S", "k"), "old");
  EXPECT_EQ(DirEntries(), std::vector<std::string>{"Tarnex.Tnx"});
  // The next write goes through.
  EXPECT_TRUE(faulty_store_.Write(path_, "S", "k", "new") && faulty_store_.Flush());
  EXPECT_EQ(Contents(), "[S]\r\nk=new\r\n");
}

TEST_F(FaultyProfileTest, FailedWriteOfTheNewContentKeepsTheOldFile) {
  Put("[S]\r\nk=old\r\n");
  faults_.Inject({.op = "write", .subject = "", .skip = 0, .times = 1, .partial = 5});
  EXPECT_TRUE(faulty_store_.Write(path_, "S", "k", "new"));
  EXPECT_FALSE(faulty_store_.Flush());
  EXPECT_EQ(Contents(), "[S]\r\nk=old\r\n");
  EXPECT_EQ(DirEntries(), std::vector<std::string>{"Tarnex.Tnx"});
}

TEST_F(FaultyProfileTest, WritesBetweenTwoFlushesAreOneReplacement) {
  Put("[S]\r\nk=0\r\n");
  // A second rename would fail: there must be only one.
  faults_.Inject({.op = "rename", .subject = "", .skip = 1});
  ASSERT_TRUE(faulty_store_.Write(path_, "S", "k", "1"));
  ASSERT_TRUE(faulty_store_.Write(path_, "S", "j", "2"));
  ASSERT_TRUE(faulty_store_.Write(path_, "T", "x", "3"));
  ASSERT_TRUE(faulty_store_.Write(path_, "S", "k", "4"));
  EXPECT_EQ(Contents(), "[S]\r\nk=0\r\n") << "nothing on disk before the flush";
  EXPECT_TRUE(faulty_store_.Dirty());
  ASSERT_TRUE(faulty_store_.Flush());
  EXPECT_FALSE(faulty_store_.Dirty());
  EXPECT_EQ(faults_.Failed("rename"), 0);
  EXPECT_EQ(Contents(), "[S]\r\nk=4\r\nj=2\r\n[T]\r\nx=3\r\n");
  EXPECT_TRUE(faulty_store_.Flush()) << "nothing left to write";
}

TEST_F(ProfileTest, ReadSeesThisProcesssWritesBeforeTheFlush) {
  ASSERT_TRUE(store_.Write(path_, "S", "k", "1"));
  EXPECT_FALSE(std::filesystem::exists(path_));
  EXPECT_EQ(store_.Read(path_, "S", "k"), "1");
  EXPECT_EQ(store_.SectionKeys(path_, "S"), "k"s + '\0');
  ASSERT_TRUE(store_.Flush());
  EXPECT_EQ(Contents(), "[S]\r\nk=1\r\n");
}

TEST_F(ProfileTest, ChangeByAnotherProgramBeforeTheFlushIsKept) {
  Put("[S]\r\nk=0\r\n");
  ASSERT_TRUE(store_.Write(path_, "S", "k", "1"));
  Put("[S]\r\nk=0\r\ntheirs=2\r\n");
  ASSERT_TRUE(store_.Flush());
  EXPECT_EQ(Contents(), "[S]\r\nk=1\r\ntheirs=2\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "theirs"), "2");
}

TEST_F(ProfileTest, FileRemovedBeforeTheFlushIsMadeAgainWithTheWrites) {
  Put("[S]\r\nk=0\r\nold=1\r\n");
  ASSERT_TRUE(store_.Write(path_, "S", "k", "1"));
  ASSERT_EQ(::unlink(path_.c_str()), 0);
  ASSERT_TRUE(store_.Flush());
  EXPECT_EQ(Contents(), "[S]\r\nk=1\r\n");
}

TEST_F(ProfileTest, ValuesRewrittenInPlaceReadBackAsAFreshReadingFindsThem) {
  Put("[A]\r\n  one = 1 \r\ntwo=\"2\"\r\n[B]\r\nthree=333333\r\n; note\r\nfour=4");
  const std::vector<std::tuple<std::string, std::string, std::string>> writes = {
      {"A", "ONE", "a much longer value than before"},
      {"B", "three", "3"},
      {"A", "two", "'quoted'"},
      {"B", "four", "  blanks  "},
      {"A", "one", ""},
      {"B", "three", "three again"}};
  for (const auto& [section, key, value] : writes) {
    ASSERT_TRUE(store_.Write(path_, section, key, value));
  }
  EXPECT_EQ(store_.Read(path_, "A", "one"), "");
  EXPECT_EQ(store_.Read(path_, "A", "two"), "quoted");
  EXPECT_EQ(store_.Read(path_, "B", "three"), "three again");
  EXPECT_EQ(store_.Read(path_, "B", "four"), "blanks");
  ASSERT_TRUE(store_.Flush());
  EXPECT_EQ(Contents(),
            "[A]\r\none=\r\ntwo='quoted'\r\n[B]\r\nthree=three again\r\n; note\r\n"
            "four=  blanks  \r\n");
  ProfileStore fresh(files_);
  EXPECT_EQ(fresh.Read(path_, "a", "ONE"), "");
  EXPECT_EQ(fresh.Read(path_, "A", "two"), "quoted");
  EXPECT_EQ(fresh.Read(path_, "b", "three"), "three again");
  EXPECT_EQ(fresh.Read(path_, "B", "four"), "blanks");
}

TEST_F(ProfileTest, KeysAndSectionsAddedAtTheEndReadAsAFreshReadingFindsThem) {
  // The last line has no line end, and the last section repeats an earlier
  // name, so its keys are not seen; the writes add at the end of the file.
  Put("[A]\r\nx=1\r\n[B]\r\ny=2\r\n[a]\r\nhidden=1");
  std::vector<std::tuple<std::string, std::string, std::string>> writes = {
      {"C", "k0", "v0"}, {"c", "K1", "v1"}, {"A", "hidden", "seen"}, {"D", "k", "d"}};
  for (int i = 0; i < 200; ++i) {
    writes.emplace_back("E", "key" + std::to_string(i), std::to_string(i));
  }
  writes.emplace_back("c", "k0", "again");
  for (const auto& [section, key, value] : writes) {
    ASSERT_TRUE(store_.Write(path_, section, key, value)) << section << "/" << key;
  }
  ASSERT_TRUE(store_.Flush());
  ProfileStore fresh(files_);
  for (ProfileStore* s : {&store_, &fresh}) {
    EXPECT_EQ(s->Read(path_, "C", "k0"), "again");
    EXPECT_EQ(s->Read(path_, "C", "k1"), "v1");
    EXPECT_EQ(s->Read(path_, "a", "hidden"), "seen");
    EXPECT_EQ(s->Read(path_, "D", "K"), "d");
    EXPECT_EQ(s->Read(path_, "E", "key0"), "0");
    EXPECT_EQ(s->Read(path_, "e", "KEY199"), "199");
    EXPECT_EQ(s->SectionKeys(path_, "C"), "k0\0K1\0"s);
    EXPECT_EQ(s->SectionKeys(path_, "A"), "x\0hidden\0"s);
  }
  const std::string text = Contents();
  EXPECT_EQ(
      text.rfind("[A]\r\nx=1\r\nhidden=seen\r\n[B]\r\ny=2\r\n[a]\r\nhidden=1\r\n[C]\r\nk0=again\r\n"
                 "K1=v1\r\n[D]\r\nk=d\r\n[E]\r\nkey0=0\r\n",
                 0),
      0u)
      << text;
}
TEST_F(ProfileTest, ValueHoldingALineEndStartsANewLine) {
  Put("[S]\r\nk=0\r\n");
  ASSERT_TRUE(Write(path_, "S", "k", "1\r\nz=2"));
  EXPECT_EQ(Contents(), "[S]\r\nk=1\r\nz=2\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "z"), "2");
}

// A write that fails halfway (here: the file size limit) leaves the old file
// and no temporary file behind. This one binds the superuser as well.
TEST_F(ProfileTest, FailedWriteRemovesTemporaryFileAndKeepsOldFile) {
  const std::string old_content = "[S]\r\nk=old\r\n";
  Put(old_content);
  struct sigaction ignore {
  }, saved{};
  ignore.sa_handler = SIG_IGN;
  ASSERT_EQ(::sigaction(SIGXFSZ, &ignore, &saved), 0);
  rlimit limit{}, saved_limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved_limit), 0);
  limit = saved_limit;
  limit.rlim_cur = 64;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
  const bool written = Write(path_, "S", "k", std::string(200, 'x'));
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &saved_limit), 0);
  ASSERT_EQ(::sigaction(SIGXFSZ, &saved, nullptr), 0);
  EXPECT_FALSE(written);
  EXPECT_EQ(Contents(), old_content);
  EXPECT_EQ(store_.Read(path_, "S", "k"), "old");
  EXPECT_EQ(DirEntries(), std::vector<std::string>{"Tarnex.Tnx"});
  // Once the limit is gone the same write succeeds.
  EXPECT_TRUE(Write(path_, "S", "k", std::string(200, 'x')));
  EXPECT_EQ(Contents(), "[S]\r\nk=" + std::string(200, 'x') + "\r\n");
}

TEST_F(ProfileTest, ManyWritesLeaveNoTemporaryFileBehind) {
  for (int i = 0; i < 300; ++i) {
    ASSERT_TRUE(
        Write(path_, "S" + std::to_string(i % 7), "k" + std::to_string(i % 13), std::to_string(i)));
  }
  EXPECT_EQ(DirEntries(), std::vector<std::string>{"Tarnex.Tnx"});
  EXPECT_EQ(store_.Read(path_, "S6", "k0"), "286");  // last i with i%7==6, i%13==0
  EXPECT_EQ(store_.Read(path_, "S0", "k0"), "273");
}

// A process killed at any moment leaves the old or the new file, whole.
TEST_F(ProfileTest, KillDuringWritesLeavesOldOrNewFileWhole) {
  const std::string a(700, 'a');
  const std::string b(1500, 'b');
  const std::string head = "[Pad]\r\n" + std::string(2000, 'p') + "=1\r\n[S]\r\nk=";
  const std::string with_a = head + a + "\r\n";
  const std::string with_b = head + b + "\r\n";
  Put(with_a);
  for (int round = 0; round < 20; ++round) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      NativeFiles files;
      ProfileStore writer(files);
      for (long i = 0;; ++i) WriteNow(writer, path_, "S", "k", (i % 2) ? b : a);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(500 + 397 * round));
    ASSERT_EQ(::kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    const std::string now = Contents();
    EXPECT_TRUE(now == with_a || now == with_b) << "round " << round << ": " << now.size();
    // A temporary file the killed writer left is simply not the profile file.
    std::filesystem::remove(path_ + ".tmp" + std::to_string(child));
  }
  EXPECT_EQ(DirEntries(), std::vector<std::string>{"Tarnex.Tnx"});
}

// ------------------------------------------------- changes by other programs

TEST_F(ProfileTest, ChangeByAnotherProgramIsSeenByNextRead) {
  Put("[S]\r\nk=one\r\n");
  ASSERT_EQ(store_.Read(path_, "S", "k"), "one");
  const struct stat st = StatOf(path_);
  Put("[S]\r\nk=two\r\n");  // same size
  SetMtime(path_, st.st_mtim.tv_sec + 5, st.st_mtim.tv_nsec);
  EXPECT_EQ(store_.Read(path_, "S", "k"), "two");
  Put("[S]\r\nk=three, longer\r\n");
  EXPECT_EQ(store_.Read(path_, "S", "k"), "three, longer");
}

TEST_F(ProfileTest, SameSizeChangeRightAfterReadIsSeen) {
  // Here the file times may well not move between the two writes, which are
  // closer together than the clock that stamps them advances.
  for (int i = 0; i < 50; ++i) {
    Put("[S]\r\nk=" + std::to_string(1000 + i) + "\r\n");
    ASSERT_EQ(store_.Read(path_, "S", "k"), std::to_string(1000 + i));
    Put("[S]\r\nk=" + std::to_string(2000 + i) + "\r\n");
    ASSERT_EQ(store_.Read(path_, "S", "k"), std::to_string(2000 + i)) << i;
  }
}

TEST_F(ProfileTest, FileReplacedWithSameSizeAndTimeIsSeen) {
  Put("[S]\r\nk=one\r\n");
  SetMtime(path_, 1'000'000'000, 0);
  ASSERT_EQ(store_.Read(path_, "S", "k"), "one");
  const std::string other = dir_ + "/other";
  PutAt(other, "[S]\r\nk=two\r\n");
  SetMtime(other, 1'000'000'000, 0);
  ASSERT_EQ(::rename(other.c_str(), path_.c_str()), 0);
  EXPECT_EQ(store_.Read(path_, "S", "k"), "two");
}

TEST_F(ProfileTest, WriteAfterChangeByAnotherProgramKeepsTheirChange) {
  ASSERT_TRUE(Write(path_, "S", "mine", "1"));
  Put("[S]\r\nmine=1\r\ntheirs=2\r\n");
  ASSERT_TRUE(Write(path_, "S", "mine", "3"));
  EXPECT_EQ(Contents(), "[S]\r\nmine=3\r\ntheirs=2\r\n");
}

TEST_F(ProfileTest, RemovedFileReadsEmptyAndIsCreatedAgain) {
  ASSERT_TRUE(Write(path_, "S", "k", "v"));
  ASSERT_EQ(store_.Read(path_, "S", "k"), "v");
  ASSERT_EQ(::unlink(path_.c_str()), 0);
  EXPECT_EQ(store_.Read(path_, "S", "k"), "");
  ASSERT_TRUE(Write(path_, "T", "x", "y"));
  EXPECT_EQ(Contents(), "[T]\r\nx=y\r\n");
}

TEST_F(ProfileTest, TwoStoresSeeEachOthersWrites) {
  ProfileStore other(files_);
  ASSERT_TRUE(Write(path_, "S", "k", "1"));
  EXPECT_EQ(other.Read(path_, "S", "k"), "1");
  ASSERT_TRUE(WriteNow(other, path_, "S", "k", "2"));
  EXPECT_EQ(store_.Read(path_, "S", "k"), "2");
  ASSERT_TRUE(Write(path_, "S", "j", "3"));
  EXPECT_EQ(other.Read(path_, "S", "j"), "3");
  EXPECT_EQ(Contents(), "[S]\r\nk=2\r\nj=3\r\n");
}

// ---------------------------------------------------------------- key lists

TEST_F(ProfileTest, SectionKeysListsNamesEachFollowedByNul) {
  Put("[S]\r\n Alpha = 1\r\n;c=2\r\nBeta=\r\nnot a key\r\ngamma=3\r\n[T]\r\nt=1\r\n");
  EXPECT_EQ(store_.SectionKeys(path_, "s"), "Alpha\0Beta\0gamma\0"s);
  EXPECT_EQ(store_.SectionKeys(path_, "T"), "t\0"s);
}

TEST_F(ProfileTest, SectionKeysOfMissingFileOrSectionOrEmptySectionIsEmpty) {
  EXPECT_EQ(store_.SectionKeys(path_, "S"), "");
  Put("[S]\r\n; nothing\r\n[T]\r\nt=1\r\n");
  EXPECT_EQ(store_.SectionKeys(path_, "S"), "");
  EXPECT_EQ(store_.SectionKeys(path_, "U"), "");
}

TEST_F(ProfileTest, SectionKeysListsRepeatedNameOnceAsFirstSpelled) {
  Put("[S]\r\nKey=1\r\nother=2\r\nKEY=3\r\n");
  EXPECT_EQ(store_.SectionKeys(path_, "S"), "Key\0other\0"s);
}

TEST_F(ProfileTest, SectionKeysCutToBufferLeavesSizeLessTwoCharacters) {
  Put("[S]\r\nab=1\r\ncd=2\r\nef=3\r\n");
  // All fits: "ab\0cd\0ef\0" plus the final NUL is 10 characters.
  EXPECT_EQ(store_.SectionKeys(path_, "S", 10), "ab\0cd\0ef\0"s);
  EXPECT_EQ(store_.SectionKeys(path_, "S"), "ab\0cd\0ef\0"s);
  // Too small: buffer_size - 2 characters are kept, the last name truncated.
  EXPECT_EQ(store_.SectionKeys(path_, "S", 9), "ab\0cd\0e"s);
  EXPECT_EQ(store_.SectionKeys(path_, "S", 8), "ab\0cd\0"s);
  EXPECT_EQ(store_.SectionKeys(path_, "S", 5), "ab\0"s);
  EXPECT_EQ(store_.SectionKeys(path_, "S", 3), "a");
  EXPECT_EQ(store_.SectionKeys(path_, "S", 2), "");
  EXPECT_EQ(store_.SectionKeys(path_, "S", 1), "");
  EXPECT_EQ(store_.SectionKeys(path_, "S", 0), "");
}

TEST_F(ProfileTest, SectionKeysDefaultBufferHolds253Characters) {
  std::string file = "[S]\r\n";
  std::string all;
  for (int i = 0; i < 30; ++i) {
    const std::string name = "key" + std::to_string(100 + i);  // 6 characters
    file += name + "=1\r\n";
    all += name + '\0';
  }
  Put(file);
  ASSERT_EQ(all.size(), 210u);
  EXPECT_EQ(store_.SectionKeys(path_, "S"), all);
  for (int i = 30; i < 40; ++i) {
    const std::string name = "key" + std::to_string(100 + i);
    file += name + "=1\r\n";
    all += name + '\0';
  }
  Put(file);
  EXPECT_EQ(store_.SectionKeys(path_, "S"), all.substr(0, 253));
  EXPECT_EQ(store_.SectionKeys(path_, "S", 1000), all);
}

}  // namespace
}  // namespace tarnex
