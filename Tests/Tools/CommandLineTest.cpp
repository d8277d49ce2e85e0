// What all commands of `nimb` have in common: their names, where outputs may go, and the streams that they write to.
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

namespace ToolTest {
namespace {

namespace fs = std::filesystem;

class CommandLine : public testing::Test {
protected:
    void SetUp() override { ClipTest::MakeClip(m_Clip, {}); }

    void ExpectRefusal(const std::string& arguments, const std::vector<std::string>& texts) {
        const ToolResult result = RunNimb(arguments);
        EXPECT_EQ(result.status, 2) << arguments << ": " << result.err;
        EXPECT_EQ(result.out, "") << arguments;
        for (const std::string& text : texts) {
            EXPECT_NE(result.err.find(text), std::string::npos) << arguments << ": " << result.err;
        }
    }

    const TemporaryFolder m_Folder;
    const std::string m_Clip = m_Folder / "clip.mp4";
};

TEST_F(CommandLine, AnUnknownCommandSaysSoAndHelpHelps) {
    ExpectRefusal("encdoe a.glb -o a.mp4", {"'encdoe' is not a command", "did you mean 'encode'"});
    ExpectRefusal("help verfy", {"'verfy' is not a command", "did you mean 'verify'"});
    ExpectRefusal(m_Clip, {"is not a command", "Commands: encode, play, info"});
    const ToolResult help = RunNimb("help verify");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("nimb verify [OPTIONS] clip"), std::string::npos) << help.out;
    EXPECT_EQ(help.out, RunNimb("verify -h").out);
    EXPECT_EQ(RunNimb("help").out, RunNimb("--help").out);
}

TEST_F(CommandLine, OutputsKeepClearOfInputsAndEndAsTheirFormat) {
    const std::vector<unsigned char> before = ReadFile(m_Clip);
    fs::create_symlink(m_Clip, m_Folder / "soft.mp4");
    fs::create_symlink(m_Clip, m_Folder / "soft.png");
    fs::create_hard_link(m_Clip, m_Folder / "hard.png");
    fs::create_directory(m_Folder / "frames");
    fs::create_symlink(m_Folder / "", m_Folder / "folder");
    fs::create_symlink(m_Clip, m_Folder / "frames/frame_0000.glb");
    const std::string png = m_Folder / "new.png";
    for (const std::string& arguments : {
             "play " + m_Clip + " -y --record " + m_Clip,
             "play " + m_Clip + " -y --record " + (m_Folder / "folder/./clip.mp4"),
             "play " + (m_Folder / "soft.mp4") + " -y --record " + m_Clip,
             "play " + m_Clip + " -y --snapshot " + (m_Folder / "hard.png"),
             "play " + m_Clip + " -y --contact-sheet " + (m_Folder / "soft.png"),
             "info " + m_Clip + " -y --plot " + (m_Folder / "hard.png"),
             "export " + m_Clip + " " + (m_Folder / "frames") + " -y --format glb",
         }) {
        ExpectRefusal(arguments, {"is also an input"});
    }
    ExpectRefusal("play " + m_Clip + " --snapshot " + png + " --contact-sheet " + (m_Folder / "folder/new.png"),
                  {"named for two outputs"});
    for (const std::string& arguments :
         {"demo -o " + (m_Folder / "new.mov"), std::string("demo -o -"), "demo -o " + (m_Folder / "new"),
          "play " + m_Clip + " --record " + (m_Folder / "new.gif")}) {
        ExpectRefusal(arguments, {".mp4"});
    }
    ExpectRefusal("play " + m_Clip + " --snapshot " + (m_Folder / "new.jpg"), {"a picture must end in .png"});
    ExpectRefusal("info " + m_Clip + " --plot " + (m_Folder / "new.mp4"), {"a picture must end in .png"});
    EXPECT_EQ(ReadFile(m_Clip), before);
    EXPECT_EQ(FilesIn(m_Folder / "").size(), 6u);
    EXPECT_EQ(RunNimb("info " + m_Clip + " --plot " + (m_Folder / "new.PNG")).status, 0);
}

TEST_F(CommandLine, FilesAreWrittenWhoeverListensAndResultsNeedAListener) {
    const std::string frames = m_Folder / "frames", again = m_Folder / "again.mp4";
    ASSERT_EQ(RunNimb("export " + m_Clip + " " + frames + " --format glb").status, 0);
    const std::string pipe = m_Folder / "pipe";
    const std::string unread = "mkfifo " + pipe + "; exec 3<>" + pipe + " 1>" + pipe + " 3<&-; rm " + pipe + ";";
    for (const std::string& before :
         {std::string("exec >&-;"), std::string("exec <&- >&- 2>&-;"), unread, std::string("exec >/dev/full;")}) {
        SCOPED_TRACE(before);
        fs::remove(again);
        EXPECT_EQ(RunNimb("encode " + frames + " -o " + again, before).status, 0);
        EXPECT_EQ(RunNimb("verify " + again).out, "ok, 30 frames\n");
        EXPECT_EQ(RunNimb("export -y " + m_Clip + " " + frames + " --format glb", before).status, 0);
        EXPECT_EQ(RunNimb("info " + m_Clip, before).status, before == unread ? 128 + SIGPIPE : 4);
    }
}

/// What a terminal of 20 columns gets on standard error.
std::string OnTerminal(const std::string& type, const std::string& arguments) {
    return RunCommand("script -qec 'stty cols 20; TERM=" + type + " " NIMB_TOOL_FILE " " + arguments + "' /dev/null")
        .output;
}

TEST_F(CommandLine, ProgressFitsTheTerminal) {
    const std::string erase = "\r\033[K";
    const std::string shown = OnTerminal("xterm", "verify " + m_Clip);
    const std::size_t first = shown.find(erase + "Verifying: frame ");
    ASSERT_NE(first, std::string::npos) << shown;
    for (std::size_t at = first; at != std::string::npos; at = shown.find(erase, at + 1)) {
        EXPECT_LT(shown.find_first_of("\r\n", at + 1) - at - erase.size(), 20u) << shown;
    }
    EXPECT_EQ(OnTerminal("dumb", "verify " + m_Clip), "ok, 30 frames\r\n");
}

}  // namespace
}  // namespace ToolTest
