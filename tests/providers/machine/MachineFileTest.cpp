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

TEST(MachineFile, AFaultIsRefusedWithLineAndReason) {
  const std::string form = "{\"format\": \"saverestore-machine/1\"";
  const auto node = [&](const std::string& text) {
    return form + ",\n\"nodes\": {\n\"/A\": {},\n\"/B\": " + text + "\n}}";
  };
  const std::pair<std::string, const char*> rows[] = {
      {" \n", "2: syntax error while parsing value - unexpected end of input"},
      {"{\n\n  oops}", "3: syntax error"},
      {"[]", "1: a machine file is one JSON object"},
      {"\"x\"", "1: a machine file is one JSON object"},
      {"{\"nodes\": {}}", "1: \"format\" is missing"},
      {"{\n\"format\": \"x/2\"}", "2: \"format\" must be \"saverestore-machine/1\""},
      {form + "}", "1: \"nodes\" is missing"},
      {"{\"nodes\": []}", "1: \"nodes\" is a list instead of an object"},
      {"{\"name\": \"x\"}", "1: \"name\" is unknown"},
      {form + ",\n\"format\": 1}", "2: \"format\" stands twice"},
      {form + ", \"nodes\": {}}\nx", "2: syntax error"},
      {node("\"x\""), "4: the node /B must be an object"},
      {node("{\"vaules\": []}"), "4: node /B: \"vaules\" is unknown"},
      {node("{\"values\": [],\n\"values\": []}"), "5: node /B: \"values\" stands twice"},
      {node("{\"options\": {\"0\": \"a\", \"0\": \"b\"}}"),
       "4: node /B: \"options\" has \"0\" twice"},
      {node("{\"values\": [\"a\",\n1]}"),
       "5: node /B: \"values\" holds a number instead of a text"},
      {node("{\"options\": {\"0\": {}}}"), "4: node /B: \"options\" holds an object instead of a"},
      {node("{\"kind\": 99}"), "4: node /B: \"kind\" must be 0 for a setting or 1 for a menu"},
      {node("{\"kind\": 1.5}"), "4: node /B: \"kind\" is a fraction instead of a number"},
      {node("{\"flag\": 1}"), "4: node /B: \"flag\" is a number instead of true or false"},
      {node("{\"values\": null}"), "4: node /B: \"values\" is null instead of a list"},
      {node("{\"range\": [1]}"), "4: node /B: \"range\" must be a list of two numbers"},
      {node("{\"length\": [2, 1]}"), "4: node /B: \"length\" must be a list of two numbers"},
      {node("{\"range\": [0, 18446744073709551615]}"), "4: a number is too large"},
      {node("{\"step\": 0}"), "4: node /B: \"step\" must be 1 or more"},
      {node("{\"form\": \"octal\"}"), "4: node /B: \"form\" must be \"whole\" or \"number\""},
      {node("{\"values\": [\"a\\u0000b\"]}"), "4: a text holds a NUL character"},
      {node("{},\n\"/A\": {}"), "5: the node /A stands twice"},
      {node("{},\n\"C\": {}"), "5: the path \"C\" must begin with"},
  };
  for (const auto& [text, said] : rows) {
    try {
      static_cast<void>(Machine::ParseMachine(text));
      ADD_FAILURE() << text;
    } catch (const Machine::MalformedMachine& fault) {
      EXPECT_THAT(std::to_string(fault.line) + ": " + fault.what(), ::testing::StartsWith(said));
    }
  }
}

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
