#include "providers/machine/MachineFile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "support/Paths.h"
#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::HasSubstr;

TEST(MachineFile, TheExamplesAreInTheFormThatTheWriterGives) {
  for (const char* name : {"caldra", "oskent", "r8810lqe"}) {
    const std::string text =
        ReadText(SourceFolder() + "/examples/machines/" + name + "-server.json");
    EXPECT_TRUE(Machine::RenderMachine(Machine::ParseMachine(text)) == text) << name;
  }
}

TEST(MachineFile, KeepsEveryMemberOfANode) {
  const std::string text =
      "{\n  \"format\": \"saverestore-machine/1\",\n  \"platform\": \"P\",\n"
      "  \"adminPassword\": \"pw\",\n  \"nodes\": {\n"
      "    \"/B\\\"x\": {\"kind\": 1, \"values\": [\"a\\n\", \"\\u001b\xC3\xA9\"], \"options\": "
      "{\"0\": \"No\", \"1\": \"Yes\"}, \"flag\": true, \"remark\": \"r\", \"writable\": false, "
      "\"range\": [-1, 5], \"step\": 2, \"length\": [0, 9], \"pattern\": \"[a-z]*\"},\n"
      "    \"/C\": {},\n    \"/D\": {\"form\": \"whole\"},\n"
      "    \"/E\": {\"form\": \"number\", \"range\": [0, 1]}\n  }\n}\n";
  const Machine::MachineImage machine = Machine::ParseMachine(text);
  EXPECT_EQ(machine.adminPassword, "pw");
  const _XNode& node = machine.nodes.at("/B\"x");
  EXPECT_EQ(node.values[1], "\x1b\xC3\xA9");
  const Query::Limits limits{true, Query::Limits::Form::Whole, Query::Range{-1, 5},
                             2,    Query::Range{0, 9},         "[a-z]*"};
  EXPECT_EQ(node.limits, limits);
  EXPECT_EQ(Machine::RenderMachine(machine), text);
}

struct Fault {
  const char* name;
  std::string node;  ///< the text of a node, or of the whole file when it begins with "!"
  std::size_t line;
  const char* reason;
};

class FaultTest : public ::testing::TestWithParam<Fault> {};

TEST_P(FaultTest, IsRefusedWithLineAndReason) {
  const std::string text =
      GetParam().node.starts_with('!')
          ? GetParam().node.substr(1)
          : "{\"format\": \"saverestore-machine/1\",\n\"nodes\": {\n\"/A\": {},\n\"/B\": " +
                GetParam().node + "\n}}";
  try {
    static_cast<void>(Machine::ParseMachine(text));
    FAIL() << text;
  } catch (const Machine::MalformedMachine& fault) {
    EXPECT_EQ(fault.line, GetParam().line);
    EXPECT_THAT(fault.what(), HasSubstr(GetParam().reason));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FaultTest,
    ::testing::Values(
        Fault{"Blank", "! \n", 2, "unexpected end of input"},
        Fault{"NotJson", "!{\n\n  oops}", 3, "syntax error"},
        Fault{"List", "![]", 1, "one JSON object"}, Fault{"Text", "!\"x\"", 1, "one JSON object"},
        Fault{"NoFormat", "!{\"nodes\": {}}", 1, "\"format\" is missing"},
        Fault{"OtherFormat", "!{\n\"format\": \"x/2\"}", 2, "must be \"saverestore-machine/1\""},
        Fault{"NoNodes", "!{\"format\": \"saverestore-machine/1\"}", 1, "\"nodes\" is missing"},
        Fault{"NodesIsAList", "!{\"nodes\": []}", 1, "\"nodes\" is a list instead of an object"},
        Fault{"UnknownMember", "!{\"name\": \"x\"}", 1, "\"name\" is unknown"},
        Fault{"MemberTwice", "!{\"platform\": \"x\",\n\"platform\": \"y\"}", 2,
              "\"platform\" stands twice"},
        Fault{"TrailingText", "!{\"format\": \"saverestore-machine/1\", \"nodes\": {}}\nx", 2,
              "syntax error"},
        Fault{"NodeIsAText", "\"x\"", 4, "the node /B must be an object"},
        Fault{"UnknownNodeMember", "{\"vaules\": []}", 4, "node /B: \"vaules\" is unknown"},
        Fault{"NodeMemberTwice", "{\"values\": [],\n\"values\": []}", 5, "\"values\" stands twice"},
        Fault{"OptionTwice", "{\"options\": {\"0\": \"a\", \"0\": \"b\"}}", 4,
              "node /B: \"options\" has \"0\" twice"},
        Fault{"ValuesIsAText", "{\"values\": \"1\"}", 4, "\"values\" is a text instead of a list"},
        Fault{"NumberInValues", "{\"values\": [\"a\",\n1]}", 5, "holds a number instead of a text"},
        Fault{"NestedOption", "{\"options\": {\"0\": {}}}", 4, "holds an object instead of a text"},
        Fault{"KindIsAText", "{\"kind\": \"menu\"}", 4, "is a text instead of a number"},
        Fault{"KindIsUnknown", "{\"kind\": 99}", 4, "node /B: \"kind\" must be 0 for a setting or"},
        Fault{"KindIsAFraction", "{\"kind\": 1.5}", 4, "is a fraction instead of a number"},
        Fault{"FlagIsANumber", "{\"flag\": 1}", 4, "is a number instead of true or false"},
        Fault{"NullValue", "{\"values\": null}", 4, "is null instead of a list"},
        Fault{"OneLimit", "{\"range\": [1]}", 4, "two numbers"},
        Fault{"LimitsUpsideDown", "{\"length\": [2, 1]}", 4, "two numbers"},
        Fault{"HugeLimit", "{\"range\": [0, 18446744073709551615]}", 4, "too large"},
        Fault{"NoStep", "{\"step\": 0}", 4, "must be 1 or more"},
        Fault{"UnknownForm", "{\"form\": \"octal\"}", 4, "must be \"whole\" or \"number\""},
        Fault{"Nul", "{\"values\": [\"a\\u0000b\"]}", 4, "NUL"},
        Fault{"NodeTwice", "{},\n\"/A\": {}", 5, "/A stands twice"},
        Fault{"RelativePath", "{},\n\"C\": {}", 5, "must begin with"}),
    [](const auto& row) { return row.param.name; });

class MachineOnDiskTest : public EngineTest {};

TEST_F(MachineOnDiskTest, NamesTheFileThatCannotBeLoaded) {
  WriteText(PathOf("m.json"), "{\n}");
  WriteText(PathOf("empty.json"), "");
  mkfifo(PathOf("fifo").c_str(), 0600);
  const auto faultOf = [&](const char* name) {
    try {
      static_cast<void>(Machine::LoadMachine(PathOf(name)));
    } catch (const ResultStatus& failure) {
      const int code = failure.getval();
      return (code == ErrorManager::TargetMalformed ? "" : std::to_string(code) + " ") +
             failure.message();
    }
    return std::string("none");
  };
  EXPECT_EQ(faultOf("m.json"), PathOf("m.json") + ":2: \"format\" is missing.");
  EXPECT_EQ(faultOf("empty.json"), "machine:" + PathOf("empty.json") + ": it is empty.");
  EXPECT_THAT(faultOf(""), HasSubstr("it is a directory, not a machine file"));
  EXPECT_THAT(faultOf("fifo"), HasSubstr("Not a regular file"));
  EXPECT_THAT(faultOf("no.json"), HasSubstr(std::to_string(ErrorManager::TargetMissing)));
}

TEST_F(MachineOnDiskTest, AReplacedFileKeepsItsPermissionsAndItsLink) {
  namespace fs = std::filesystem;
  const Machine::MachineImage machine = {"P", "", {{"/A", {}}}, {}};
  WriteText(PathOf("m.json"), "old");
  fs::permissions(PathOf("m.json"), fs::perms(0640));
  fs::create_symlink("m.json", PathOf("link.json"));
  Machine::StoreMachine(machine, PathOf("link.json"));
  EXPECT_TRUE(fs::is_symlink(PathOf("link.json")));
  EXPECT_EQ(ReadText(PathOf("m.json")), Machine::RenderMachine(machine));
  EXPECT_EQ(fs::status(PathOf("m.json")).permissions(), fs::perms(0640));
}

}  // namespace
}  // namespace Test
