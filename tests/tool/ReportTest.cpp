// report: what the documents of many servers become, in a sentence and on a page.
#include "tool/ToolFixture.h"

namespace Test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class ReportTest : public ToolTest {
 protected:
  void Document(const std::string& name, const std::string& schema, const std::string& members) {
    std::filesystem::create_directory(PathOf("run"));
    WriteText(PathOf("run/" + name + ".json"), R"({"schema": "saverestore-)" + schema +
                                                   R"(", "file": "base.ini", )" + members + "}");
  }
  void Verified(const std::string& name, const std::string& value,
                const std::string& messages = "") {
    Document(name, "verify/1",
             value.empty() ? R"("different": [], "messages": [)" + messages + "]"
                           : R"("different": [{"section": "POWER", "key": "Policy", "file": "ON",
                                "machine": ")" +
                                 value + R"("}], "messages": [)" + messages + "]");
  }
};

TEST_F(ReportTest, TheFirstLineCountsWhatThereIs) {
  const std::string waiting = R"({"setting": "POWER::Policy", "text": "waits", "waiting": true})";
  Verified("a", "");
  Verified("b", "OFF");
  Verified("c", "OFF");
  Verified("d", "RESTORE", waiting);
  Document("e", "failure/1", R"("exit": 69, "text": "no answer")");
  Document("f", "failure/1", R"("exit": 77, "text": "the login was refused")");
  Document("g", "restore/1", R"("backup": "x.ini", "messages": [],
      "changes": [{"section": "POWER", "key": "Policy", "from": "OFF", "to": "ON"}],
      "settings": [{"section": "POWER", "key": "Policy", "outcome": "pending until the next boot",
                    "wanted": "ON", "present": "OFF", "reason": ""}])");
  Document("h", "restore/1", R"("backup": "", "messages": [], "settings":
      [{"section": "POWER", "key": "Policy", "outcome": "not applied", "wanted": "ON",
        "present": "OFF", "reason": "the machine keeps its value"},
       {"section": "POWER", "key": "Delay", "outcome": "applied", "wanted": "1", "present": "1",
        "reason": ""}])");
  Document("i", "verify/1", R"("messages": [], "different":
      [{"section": "POWER", "key": "Model", "file": "1", "machine": "2", "read_only": true}])");
  EXPECT_EQ(Run("report out.html run").out,
            "3 of 9 servers are as wanted; 1 did not answer; 1 failed; 4 differ in 3 ways; 2 wait "
            "for a boot.\n");
  EXPECT_EQ(ModeBits(PathOf("out.html")), 0600U);
  const std::string page = ReadText(PathOf("out.html"));
  EXPECT_THAT(page, HasSubstr("Group 1: 2 servers, 1 setting differs"));
  EXPECT_THAT(page, HasSubstr("not applied: the machine keeps its value"));
  EXPECT_THAT(page, HasSubstr("failure of <bdi>base.ini</bdi>: the login was refused"));
  EXPECT_EQ(Run("report one.html run/b.json").out, "b differs in 1 setting.\n");
  EXPECT_EQ(Run("report h.html run/h.json").out, "h differs in 1 setting.\n");
  // A later document of the same server says how it stands now.
  std::filesystem::create_directory(PathOf("then"));
  std::filesystem::copy_file(PathOf("run/a.json"), PathOf("then/b.json"));
  EXPECT_EQ(Run("report two.html run/b.json then/b.json").out, "b is as wanted.\n");
}

TEST_F(ReportTest, WhatTheToolPrintsHasTextsAndVersions) {
  const std::string target = "--target " + Example("caldra") + " ";
  WriteText(PathOf("base.ini"), "[BIOS::Main]\nQuiet Boot=0\n");
  std::filesystem::create_directory(PathOf("run"));
  WriteText(PathOf("run/a.json"), Run(target + "verify --json base.ini").out);
  EXPECT_EQ(Run("report out.html run").out, "a differs in 1 setting.\n");
  const std::string page = ReadText(PathOf("out.html"));
  EXPECT_THAT(page, HasSubstr("<bdi>Enabled (1)</bdi> → <bdi>Disabled (0)</bdi>"));
  EXPECT_THAT(page, HasSubstr("BIOSVersion"));
  EXPECT_THAT(Run(target + "diff --json base.ini").out, HasSubstr("\"file_text\": \"Disabled\""));
  EXPECT_THAT(Run(target + "save --json x.ini").out,
              HasSubstr("\"platform\": \"CALDRA_PLATFORM\""));
}

TEST_F(ReportTest, NoTextOfAServerBecomesMarkup) {
  const std::string hostile = R"(</bdi><script>alert('1')</script>\" onload=\"x&amp;)";
  const std::string shown =
      "&lt;/bdi&gt;&lt;script&gt;alert(&#39;1&#39;)&lt;/script&gt;&quot; onload=&quot;x&amp;amp;";
  const std::string entry = R"({"section": ")" + hostile + R"(", "key": ")" + hostile +
                            R"(", "file": ")" + hostile + R"(", "machine": "\u001b[2J)" + hostile +
                            R"("})";
  const std::string all = R"("system": {")" + hostile + R"(": ")" + hostile +
                          R"("}, "different": [)" + entry + R"(], "own": [)" + entry +
                          R"(], "messages": [{"setting": ")" + hostile + R"(", "text": ")" +
                          hostile + R"("}])";
  Document("<img src=x onerror=alert(1)>", "verify/1", all);
  Document("plain", "failure/1", R"("exit": 2, "text": ")" + hostile + "\"");
  ASSERT_EQ(Run("report out.html run").exitCode, 0);
  const std::string page = ReadText(PathOf("out.html"));
  EXPECT_THAT(page, HasSubstr("\\x1B[2J" + shown));
  EXPECT_THAT(page, Not(HasSubstr("alert('1')")));
  EXPECT_THAT(page, Not(HasSubstr("<img")));
  EXPECT_THAT(page, Not(HasSubstr("\" onload")));
}

TEST_F(ReportTest, ADocumentThatIsNoneIsNamedAndNothingIsWritten) {
  struct Row {
    const char* text;
    int exitCode;
    const char* said;
  };
  for (const Row& row : std::to_array<Row>({
           {"", 65, "it is empty"},
           {"{", 65, "is no JSON"},
           {"[]", 65, "\"schema\" is missing"},
           {R"({"schema": "saverestore-show/1"})", 65, "\"saverestore-show/1\" is none"},
           {R"({"schema": "saverestore-verify/1", "messages": [], "different": [1]})", 65,
            "\"section\" is missing or is no text"},
       })) {
    WriteText(PathOf("bad.json"), row.text);
    const Outcome outcome = Run("report out.html bad.json");
    EXPECT_EQ(outcome.exitCode, row.exitCode) << row.text;
    EXPECT_THAT(outcome.err, HasSubstr("bad.json\"")) << row.text;
    EXPECT_THAT(outcome.err, HasSubstr(row.said)) << row.text;
  }
  EXPECT_EQ(Run("report out.html none.json").exitCode, 66);
  EXPECT_FALSE(std::filesystem::exists(PathOf("out.html")));
}

TEST_F(ReportTest, AFailureIsADocumentToo) {
  const Outcome gone = Run("--target machine:gone.json verify --json x.ini");
  EXPECT_EQ(gone.exitCode, 66);
  EXPECT_THAT(gone.out, HasSubstr("\"exit\": 66"));
  EXPECT_EQ(Run("--target machine:gone.json verify x.ini").out, "");
}

}  // namespace
}  // namespace Test
