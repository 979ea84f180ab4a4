// DOSOutputs: a command line run with its output on one pipe, 256 bytes a
// read and an event per block, on the simulated machine and on this host.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "inventory/dos_outputs.h"
#include "platform/linux/linux_platform.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

std::string WithCommand(const std::string& key, const std::string& output) {
  return nlohmann::json{{"commands", {{key, output}}}}.dump();
}

struct Recorder {
  std::vector<std::string> blocks;
  void Attach(DOSOutputs& dos) {
    dos.ReceiveOutputs = [this](const std::string& text) { blocks.push_back(text); };
  }
  std::string Joined() const {
    std::string all;
    for (const auto& b : blocks) all += b;
    return all;
  }
};

std::string Bytes(size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) text += static_cast<char>('a' + i % 26);
  return text;
}

TEST(InventoryDOSOutputs, OutputComesIn256ByteBlocksAndEndsWithAnEmptyOne) {
  const std::string output = Bytes(600);
  SimApp s(WithCommand("tool.exe -x", output));
  DOSOutputs dos(s.ctx());
  Recorder r;
  r.Attach(dos);
  EXPECT_EQ(dos.ExecuteCommand("C:\\Tools\\tool.exe -x"), output);
  ASSERT_EQ(r.blocks.size(), 4u);
  EXPECT_EQ(r.blocks[0], output.substr(0, 256));
  EXPECT_EQ(r.blocks[1], output.substr(256, 256));
  EXPECT_EQ(r.blocks[2], output.substr(512));
  EXPECT_EQ(r.blocks[3], "");
  EXPECT_EQ(dos.OutputText(), output);
  EXPECT_EQ(dos.CommandLine(), "C:\\Tools\\tool.exe -x");
}

TEST(InventoryDOSOutputs, OutputOfExactlyOneBlockGivesOneBlockAndTheEmptyEnd) {
  SimApp s(WithCommand("tool.exe", Bytes(256)));
  DOSOutputs dos(s.ctx());
  Recorder r;
  r.Attach(dos);
  dos.ExecuteCommand("tool.exe");
  EXPECT_EQ(r.blocks, (std::vector<std::string>{Bytes(256), ""}));
}

TEST(InventoryDOSOutputs, ProgramThatPrintsNothingGivesOneEmptyEvent) {
  SimApp s(WithCommand("quiet.exe", ""));
  DOSOutputs dos(s.ctx());
  Recorder r;
  r.Attach(dos);
  EXPECT_EQ(dos.ExecuteCommand("quiet.exe"), "");
  EXPECT_EQ(r.blocks, std::vector<std::string>{""});
  EXPECT_TRUE(s.sim().messages.empty());
}

TEST(InventoryDOSOutputs, EmptyCommandLineTellsTheOperatorAndRunsNothing) {
  SimApp s(WithCommand("tool.exe", "x"));
  DOSOutputs dos(s.ctx());
  Recorder r;
  r.Attach(dos);
  EXPECT_EQ(dos.ExecuteCommand(""), "");
  EXPECT_EQ(s.sim().messages, std::vector<std::string>{"Command Line empty"});
  EXPECT_EQ(s.model().OperatorMessages, std::vector<std::string>{"Command Line empty"});
  EXPECT_TRUE(s.sim().commands_run.empty());
  EXPECT_TRUE(r.blocks.empty());
}

TEST(InventoryDOSOutputs, CommandLineSetBeforeRunsWhenNoneIsGiven) {
  SimApp s(WithCommand("tool.exe", "out"));
  DOSOutputs dos(s.ctx());
  dos.SetCommandLine("C:\\tool.exe");
  EXPECT_EQ(dos.ExecuteCommand(), "out");
  EXPECT_EQ(s.sim().commands_run, std::vector<std::string>{"C:\\tool.exe"});
}

TEST(InventoryDOSOutputs, ProgramThatCannotStartTellsTheOperator) {
  SimApp s(WithCommand("tool.exe", "out"));
  DOSOutputs dos(s.ctx());
  Recorder r;
  r.Attach(dos);
  EXPECT_EQ(dos.ExecuteCommand("C:\\missing.exe"), "");
  EXPECT_EQ(s.sim().messages, std::vector<std::string>{"File or command not found"});
  EXPECT_TRUE(r.blocks.empty());
}

TEST(InventoryDOSOutputs, EachRunStartsItsOutputAfresh) {
  SimApp s(R"({"commands": {"one.exe": "first", "two.exe": "second"}})");
  DOSOutputs dos(s.ctx());
  dos.ExecuteCommand("one.exe");
  EXPECT_EQ(dos.ExecuteCommand("two.exe"), "second");
  EXPECT_EQ(dos.OutputText(), "second");
}

TEST(InventoryDOSOutputs, StartUpMakesTheMainRunnerWhichFeedsDOSBox) {
  SimApp s;
  EXPECT_EQ(s.app().objDOS(), nullptr);
  ASSERT_TRUE(s.app().FormLoad());
  ASSERT_NE(s.app().objDOS(), nullptr);
  s.model().DOSBox = "before|";
  s.app().objDOS()->ExecuteCommand("C:\\Tarnex\\Bin\\ram.exe -i");
  EXPECT_EQ(s.model().DOSBox,
            "before|1x D-cache 32 Kb, 8-way set associative, 64 byte line size\r\n"
            "1x I-cache 32 Kb, 8-way set associative, 64 byte line size\r\n"
            "SSE2 instructions\r\n");
}

// ---- on this host

class InventoryLinuxCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = MakeTempDir();
    LinuxOptions options;
    options.app_path = dir_;
    options.executable = TARNEX_SERVER_BINARY;
    options.answer = false;
    platform_ = std::make_unique<LinuxPlatform>(options);
    app_ = std::make_unique<App>(*platform_, dir_);
  }
  void TearDown() override {
    app_.reset();
    platform_.reset();
    std::filesystem::remove_all(dir_);
  }
  // A shell script under the temporary folder.
  std::string Script(const std::string& relative, const std::string& body, bool executable = true) {
    const std::string path = dir_ + "/" + relative;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    WriteFile(path, "#!/bin/sh\n" + body);
    chmod(path.c_str(), executable ? 0755 : 0644);
    return path;
  }
  std::string dir_;
  std::unique_ptr<LinuxPlatform> platform_;
  std::unique_ptr<App> app_;
};

TEST_F(InventoryLinuxCommand, OutputAndErrorShareOnePipeReadInBlocksOfAtMost256) {
  const std::string script = Script("Bin/two.sh",
                                    "head -c 700 /dev/zero | tr '\\0' a\n"
                                    "head -c 100 /dev/zero | tr '\\0' b >&2\n");
  DOSOutputs dos(app_->ctx());
  Recorder r;
  r.Attach(dos);
  const std::string out = dos.ExecuteCommand(script);
  EXPECT_EQ(out, std::string(700, 'a') + std::string(100, 'b'));
  ASSERT_GE(r.blocks.size(), 5u);
  for (size_t i = 0; i + 1 < r.blocks.size(); ++i) {
    EXPECT_GT(r.blocks[i].size(), 0u) << i;
    EXPECT_LE(r.blocks[i].size(), 256u) << i;
  }
  EXPECT_EQ(r.blocks.back(), "");
  EXPECT_EQ(r.Joined(), out);
}

TEST_F(InventoryLinuxCommand, ArgumentsFollowTheProgram) {
  const std::string script = Script("args.sh", "for a in \"$@\"; do printf '[%s]' \"$a\"; done\n");
  DOSOutputs dos(app_->ctx());
  EXPECT_EQ(dos.ExecuteCommand(script + " -i  two \"three four\""), "[-i][two][three four]");
}

TEST_F(InventoryLinuxCommand, ProgramInAFolderWithBlanksIsFoundWithoutQuotes) {
  Script("my tools/Bin/ram.exe", "echo found \"$1\"\n");
  DOSOutputs dos(app_->ctx());
  EXPECT_EQ(dos.ExecuteCommand(dir_ + "\\my tools\\Bin\\ram.exe -i"), "found -i\n");
  EXPECT_EQ(dos.ExecuteCommand("\"" + dir_ + "/MY TOOLS/bin/RAM.EXE\" -i"), "found -i\n");
  EXPECT_TRUE(app_->model().OperatorMessages.empty());
}

TEST_F(InventoryLinuxCommand, MissingOrNonExecutableProgramIsNotFound) {
  Script("Bin/plain.exe", "echo never\n", false);
  DOSOutputs dos(app_->ctx());
  EXPECT_EQ(dos.ExecuteCommand(dir_ + "\\Bin\\nothing.exe -i"), "");
  EXPECT_EQ(dos.ExecuteCommand(dir_ + "\\Bin\\plain.exe"), "");
  EXPECT_EQ(app_->model().OperatorMessages,
            (std::vector<std::string>{"File or command not found", "File or command not found"}));
}

TEST_F(InventoryLinuxCommand, SystemInformationProgramInAnyFolderIsTheSystemFactsProgram) {
  const std::string beside =
      std::filesystem::path(TARNEX_SERVER_BINARY).parent_path().string() + "/tarnex-sysinfo";
  for (const char* command : {"C:\\Windows\\System32\\Systeminfo.exe",
                              "/\\System32\\Systeminfo.exe", "/\\Syswow64\\SYSTEMINFO.EXE"}) {
    EXPECT_EQ(platform_->ResolveCommand(command), std::vector<std::string>{beside}) << command;
  }
  DOSOutputs dos(app_->ctx());
  const std::string out = dos.ExecuteCommand("/\\System32\\Systeminfo.exe");
  EXPECT_NE(out.find("\r\nOS Name:                   "), std::string::npos) << out;
}

TEST_F(InventoryLinuxCommand, ExistingFileNamedSysteminfoRunsItself) {
  const std::string script = Script("Windows/System32/Systeminfo.exe", "echo own\n");
  EXPECT_EQ(platform_->ResolveCommand(dir_ + "\\Windows\\System32\\Systeminfo.exe"),
            std::vector<std::string>{script});
  EXPECT_TRUE(platform_->ResolveCommand(dir_ + "\\Bin\\other.exe").empty());
}

}  // namespace
}  // namespace tarnex::testing
