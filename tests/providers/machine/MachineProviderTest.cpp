// What is the machine file's own: the password in it, and writes that several processes make.
#include "providers/machine/MachineProvider.h"

#include <gmock/gmock.h>
#include <sys/file.h>

#include <fstream>
#include <thread>

#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

class MachineProviderTest : public EngineTest {
 protected:
  MachineProviderTest() {
    WriteText(file, R"({"format": "saverestore-machine/1", "adminPassword": "top-secret", "nodes": {
      "/BIOS/Boot": {"values": ["1"], "options": {"0": "Off", "1": "On"}},
      "/BIOS/None": {}}})");
  }

  [[nodiscard]] static int WriteBoot(Machine::MachineProvider& provider, const char* value) {
    return CodeOf([&] { provider.Write({{"/BIOS/Boot", value}}, true, false); });
  }
  [[nodiscard]] std::string BootOnDisk() const {
    return Machine::LoadMachine(file).nodes.at("/BIOS/Boot").values.at(0);
  }

  std::string file = PathOf("m.json");
};

TEST_F(MachineProviderTest, ChecksThePasswordInEveryForm) {
  Machine::MachineProvider machine(file);
  const auto group = [&](const char* password) {
    machine.WriteGroup("/BIOS/AdminPw", {{"ADMIN_PW", password}, {"SETVALUE", password}});
  };
  group("top-secret");
  EXPECT_EQ(CodeOf([&] { group("top"); }), ErrorManager::PasswordRefused);
  machine.Write({{"/BIOS/AdminPw", "top-secret-top-secret"}, {"/BIOS/None", "now"}}, true, false);
  for (const char* twice : {"-", "top-secret", "top-secret-top-secreT"}) {
    EXPECT_EQ(CodeOf([&] {
                machine.Write({{"/BIOS/AdminPw", twice}}, true, false);
              }),
              ErrorManager::PasswordRefused)
        << twice;
  }
  machine.WriteAuthorised({{"/BIOS/Boot", "0"}}, "top-secret");
  EXPECT_EQ(CodeOf([&] {
              machine.WriteAuthorised({{"/BIOS/Boot", "1"}}, "");
            }),
            ErrorManager::PasswordRefused);
  EXPECT_EQ(BootOnDisk(), "0");
}

TEST_F(MachineProviderTest, WhatAnotherHasWrittenIsNotOverwritten) {
  const std::string read = ReadText(file);
  const auto refusal = [&](const std::function<void()>& change) {
    WriteText(file, read);
    Machine::MachineProvider machine(file);
    change();
    try {
      machine.Write({{"/BIOS/Boot", "0"}}, true, false);
    } catch (const ResultStatus& failure) {
      EXPECT_EQ(failure.getval(), ErrorManager::WriteFailed);
      NodeMap results;
      machine.Read("/BIOS/Boot", results);
      EXPECT_EQ(results.at("/BIOS/Boot").values.at(0), "1") << "the machine is as it was";
      machine.Write({{"/BIOS/Boot", "1"}}, true, false);  // no change: no disk needed
      return failure.message();
    }
    return std::string("no failure");
  };
  const std::string size = std::to_string(read.size()) + " bytes";
  EXPECT_THAT(refusal([&] {
                Machine::MachineProvider other(file);
                other.Write({{"/BIOS/None", "theirs"}}, true, false);
              }),
              AllOf(HasSubstr(file),
                    HasSubstr("another process has changed it: the one that was "
                              "read is of "),
                    HasSubstr(size), HasSubstr("the one there now of ")));
  EXPECT_EQ(Machine::LoadMachine(file).nodes.at("/BIOS/None").values.at(0), "theirs");
  EXPECT_THAT(refusal([&] { std::ofstream(file, std::ios::app) << "\n"; }),
              HasSubstr("another process has changed it"));
  EXPECT_THAT(refusal([&] { std::filesystem::remove(file); }), HasSubstr("it is gone"));
}

TEST_F(MachineProviderTest, OfTwoThatWriteAtOnceOneWinsAndTheOtherIsTold) {
  Machine::MachineProvider one(file);
  Machine::MachineProvider other(file);
  const Common::Descriptor held(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  flock(held.Get(), LOCK_EX);
  int codes[2] = {};
  std::thread first([&] { codes[0] = WriteBoot(one, "0"); });
  std::thread second([&] { codes[1] = WriteBoot(other, "0"); });
  EXPECT_EQ(BootOnDisk(), "1") << "nobody writes while somebody holds the lock";
  flock(held.Get(), LOCK_UN);
  first.join();
  second.join();
  EXPECT_EQ(codes[0] + codes[1], ErrorManager::WriteFailed) << "exactly one of them";
  EXPECT_EQ(BootOnDisk(), "0");
  Machine::MachineProvider& winner = codes[0] == 0 ? one : other;
  EXPECT_EQ(WriteBoot(winner, "1"), 0) << "its own write is none of another's";
}

}  // namespace
}  // namespace Test
