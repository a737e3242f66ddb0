#include "providers/machine/MachineProvider.h"

#include <gmock/gmock.h>

#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::HasSubstr;

class MachineProviderTest : public EngineTest {
 protected:
  MachineProviderTest() {
    WriteText(file, R"({"format": "saverestore-machine/1", "platform": "P",
      "adminPassword": "top-secret", "nodes": {
      "/BIOS": {"kind": 1, "values": ["/BIOS/Boot"]},
      "/BIOS/Boot": {"values": ["1"], "options": {"0": "Off", "1": "On"}},
      "/BIOS/Delay": {"values": ["5"], "range": [-1, 10]},
      "/BIOS/Tag": {"values": ["x"], "length": [1, 4]},
      "/BIOS/None": {},
      "/BMC/FILTER[1]": {"values": ["/BMC/FILTER[1]/STATUS", "/BMC/FILTER[1]/NUMBER"]},
      "/BMC/FILTER[1]/STATUS": {"values": ["ENABLE"]},
      "/BMC/FILTER[1]/NUMBER": {"values": ["1"], "writable": false}}})");
    machine = std::make_shared<Machine::MachineProvider>(file);
  }

  std::string ValueOf(const std::string& path, bool afterLoading = false) {
    NodeMap results;
    (afterLoading ? std::make_shared<Machine::MachineProvider>(file) : machine)
        ->Read(path, results);
    return results.at(path).values.at(0);
  }

  std::string file = PathOf("m.json");
  std::shared_ptr<Machine::MachineProvider> machine;
};

TEST_F(MachineProviderTest, ABatchReachesTheDisk) {
  machine->Write({{"/BIOS/Boot", "0"}, {"/BIOS/Delay", "-1"}, {"/BIOS/None", "now"}}, true, false);
  EXPECT_EQ(ValueOf("/BIOS/Boot", true), "0");
  EXPECT_EQ(ValueOf("/BIOS/Delay", true), "-1");
  EXPECT_EQ(ValueOf("/BIOS/None", true), "now");
}

TEST_F(MachineProviderTest, OneRefusedValueKeepsTheWholeBatchOut) {
  const std::string before = ReadText(file);
  struct Refusal {
    const char* path;
    const char* value;
    int code;
  };
  for (const Refusal& row : {Refusal{"/BIOS/Nowhere", "1", ErrorManager::NoSuchNode},
                             Refusal{"/BIOS/Boot", "2", ErrorManager::ValueRefused},
                             Refusal{"/BIOS/Boot", "", ErrorManager::ValueRefused},
                             Refusal{"/BIOS/Delay", "11", ErrorManager::ValueRefused},
                             Refusal{"/BIOS/Delay", "5x", ErrorManager::ValueRefused},
                             Refusal{"/BIOS/Tag", "", ErrorManager::ValueRefused},
                             Refusal{"/BIOS/Tag", "12345", ErrorManager::ValueRefused},
                             Refusal{"/BIOS/Tag", "\xFF", ErrorManager::ValueRefused},
                             Refusal{"/BIOS", "x", ErrorManager::ValueRefused},
                             Refusal{"/BMC/FILTER[1]", "x", ErrorManager::ValueRefused},
                             Refusal{"/BMC/FILTER[1]/NUMBER", "2", ErrorManager::ReadOnlyNode}}) {
    try {
      machine->Write({{"/BIOS/None", "new"}, {row.path, row.value}}, true, false);
      ADD_FAILURE() << row.path << "=" << row.value;
    } catch (const ResultStatus& failure) {
      EXPECT_EQ(failure.getval(), row.code) << row.path;
      EXPECT_THAT(failure.message(), HasSubstr(row.path));
    }
    NodeMap results;
    machine->Read("/BIOS/None", results);
    EXPECT_TRUE(results.at("/BIOS/None").values.empty()) << row.path;
    EXPECT_EQ(ReadText(file), before) << row.path;
  }
}

TEST_F(MachineProviderTest, AWholeNodeIsRewrittenAlthoughPartOfItIsReadOnly) {
  machine->WriteGroup("/BMC/FILTER[1]", {{"STATUS", "DISABLE"}, {"NUMBER", "1"}});
  EXPECT_EQ(ValueOf("/BMC/FILTER[1]/STATUS", true), "DISABLE");
}

TEST_F(MachineProviderTest, ADiskFailureLeavesTheMachineAsItWas) {
  std::filesystem::remove_all(PathOf(""));
  EXPECT_EQ(CodeOf([&] {
              machine->Write({{"/BIOS/Boot", "0"}}, true, false);
            }),
            ErrorManager::WriteFailed);
  EXPECT_EQ(ValueOf("/BIOS/Boot"), "1");
  machine->Write({{"/BIOS/Boot", "1"}}, true, false);  // no change: no disk needed
  std::filesystem::create_directory(PathOf(""));
}

TEST_F(MachineProviderTest, ChecksThePasswordInEveryForm) {
  const auto group = [&](const char* password) {
    machine->WriteGroup("/BIOS/AdminPw", {{"ADMIN_PW", password}, {"SETVALUE", password}});
  };
  const auto batch = [&](const char* twice) {
    machine->Write({{"/BIOS/AdminPw", twice}}, true, false);
  };
  group("top-secret");
  batch("top-secret-top-secret");
  machine->WriteAuthorised({{"/BIOS/Boot", "0"}}, "top-secret");
  EXPECT_EQ(ValueOf("/BIOS/Boot"), "0");
  EXPECT_EQ(CodeOf([&] { group("top"); }), ErrorManager::PasswordRefused);
  for (const char* twice : {"-", "", "top-secret", "top-secret-top-secreT", "a-a"}) {
    EXPECT_EQ(CodeOf([&] { batch(twice); }), ErrorManager::PasswordRefused) << twice;
  }
  EXPECT_EQ(CodeOf([&] {
              machine->WriteAuthorised({{"/BIOS/Boot", "1"}}, "");
            }),
            ErrorManager::PasswordRefused);
  EXPECT_EQ(ValueOf("/BIOS/Boot"), "0");
}

TEST_F(MachineProviderTest, WithoutAPasswordOnlyTheEmptyOneIsRight) {
  WriteText(file, R"({"format": "saverestore-machine/1", "nodes": {}})");
  machine = std::make_shared<Machine::MachineProvider>(file);
  machine->Write({{"/BIOS/AdminPw", "-"}}, true, false);
  machine->WriteAuthorised({}, "");
  EXPECT_EQ(CodeOf([&] { machine->WriteAuthorised({}, "x"); }), ErrorManager::PasswordRefused);
}

}  // namespace
}  // namespace Test
