#include "providers/machine/MachineFile.h"

#include <gmock/gmock.h>

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
      "    \"/B\\\"x\": {\"kind\": 2, \"values\": [\"a\\n\", \"\\u001b\xC3\xA9\"], \"options\": "
      "{\"0\": \"No\", \"1\": \"Yes\"}, \"flag\": true, \"writable\": false, \"range\": [-1, 5], "
      "\"length\": [0, 9]},\n    \"/C\": {}\n  }\n}\n";
  const Machine::MachineImage machine = Machine::ParseMachine(text);
  EXPECT_EQ(machine.adminPassword, "pw");
  EXPECT_EQ(machine.nodes.at("/B\"x").kind, 2);
  EXPECT_EQ(machine.nodes.at("/B\"x").values[1], "\x1b\xC3\xA9");
  EXPECT_EQ(machine.constraints.at("/B\"x").range->low, -1);
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
        Fault{"Empty", "!", 1, "unexpected end of input"},
        Fault{"NotJson", "!{\n\n  oops}", 3, "syntax error"},
        Fault{"List", "![]", 1, "one JSON object"}, Fault{"Text", "!\"x\"", 1, "one JSON object"},
        Fault{"NoFormat", "!{\"nodes\": {}}", 1, "\"format\" is missing"},
        Fault{"OtherFormat", "!{\n\"format\": \"x/2\"}", 2, "must be \"saverestore-machine/1\""},
        Fault{"NoNodes", "!{\"format\": \"saverestore-machine/1\"}", 1, "\"nodes\" is missing"},
        Fault{"NodesIsAList", "!{\"nodes\": []}", 1,
              "\"nodes\" is unknown here or cannot be a list"},
        Fault{"UnknownMember", "!{\"name\": \"x\"}", 1, "\"name\" is unknown"},
        Fault{"TrailingText", "!{\"format\": \"saverestore-machine/1\", \"nodes\": {}}\nx", 2,
              "syntax error"},
        Fault{"NodeIsAText", "\"x\"", 4, "the node /B must be an object"},
        Fault{"UnknownNodeMember", "{\"vaules\": []}", 4, "node /B: \"vaules\" is unknown"},
        Fault{"ValuesIsAText", "{\"values\": \"1\"}", 4, "\"values\" is unknown here or cannot"},
        Fault{"NumberInValues", "{\"values\": [\"a\",\n1]}", 5, "cannot be a number"},
        Fault{"OptionsIsAList", "{\"options\": []}", 4, "\"options\" is unknown here or cannot"},
        Fault{"NestedOption", "{\"options\": {\"0\": {}}}", 4, "cannot be an object"},
        Fault{"KindIsAText", "{\"kind\": \"menu\"}", 4, "cannot be a text"},
        Fault{"KindIsNegative", "{\"kind\": -1}", 4, "\"kind\" must be"},
        Fault{"KindIsAFraction", "{\"kind\": 1.5}", 4, "cannot be a fraction"},
        Fault{"FlagIsANumber", "{\"flag\": 1}", 4, "cannot be a number"},
        Fault{"NullValue", "{\"values\": null}", 4, "cannot be null"},
        Fault{"OneLimit", "{\"range\": [1]}", 4, "two numbers"},
        Fault{"LimitsUpsideDown", "{\"length\": [2, 1]}", 4, "two numbers"},
        Fault{"HugeLimit", "{\"range\": [0, 18446744073709551615]}", 4, "too large"},
        Fault{"Nul", "{\"values\": [\"a\\u0000b\"]}", 4, "NUL"},
        Fault{"NodeTwice", "{},\n\"/A\": {}", 5, "/A stands twice"},
        Fault{"RelativePath", "{},\n\"C\": {}", 5, "must begin with"}),
    [](const auto& row) { return row.param.name; });

class MachineOnDiskTest : public EngineTest {};

TEST_F(MachineOnDiskTest, NamesTheFileThatCannotBeLoaded) {
  EXPECT_EQ(CodeOf([&] { static_cast<void>(Machine::LoadMachine(PathOf("no.json"))); }),
            ErrorManager::TargetMissing);
  WriteText(PathOf("m.json"), "{\n}");
  for (const std::string& path : {PathOf("m.json"), PathOf("")}) {
    try {
      static_cast<void>(Machine::LoadMachine(path));
      FAIL();
    } catch (const ResultStatus& failure) {
      EXPECT_EQ(failure.getval(), ErrorManager::TargetMalformed);
      EXPECT_THAT(failure.message(), HasSubstr(path + ":"));
    }
  }
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
