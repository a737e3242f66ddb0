// Stream files through the module: what their text twins do, they do.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <random>

#include "common/Logger.h"
#include "modules/stream/Sealed.h"
#include "modules/stream/StreamFile.h"
#include "providers/machine/MachineProvider.h"
#include "support/Paths.h"
#include "support/TestEngine.h"

namespace Test {
namespace {

const std::string kSource = SourceFolder();

ByteList ReadBytes(const std::string& path) {
  const std::string text = ReadText(path);
  return {text.begin(), text.end()};
}

void WriteBytes(const std::string& path, const ByteList& bytes) {
  WriteText(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

/// Says nothing of the items that it passes over, and keeps what the file is refused for.
class QuietRestore : public OpenSaveRestore {
 public:
  using SaveRestore::RestoreFWConfigurationFromStream;
  using SaveRestore::ValidateStream;
  bool goesOn = false;  ///< past keys that the file lacks
  std::string objection;

 protected:
  void PrintSkip(const std::string& /*text*/) override {}
  void KeyMissing(const std::string& section, const std::string& key) override {
    objection = section + "::" + key;
    if (!goesOn) SaveRestore::KeyMissing(section, key);
  }
  void ValueRefused(const std::string& section, const std::string& key) override {
    objection = section + "::" + key;
  }
};

class StreamTest : public EngineTest {
 protected:
  StreamTest() {
    SetServer("CALDRA_PLATFORM", "CALDRA", "C4120CAL");
    engine->Set("/SMBIOS/Type0/BIOSVersion", "ABCDEF.01");
    engine->Set("/BMC/INFO/BOOT_AREA_VERSION", "1");
    engine->Set("/BMC/INFO/VERSION", "2");
    engine->Set("/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY", "ON");
    engine->SetList("/BIOS", {"/BIOS/Main"}, NODE_MENU);
    engine->SetList("/BIOS/Main", {"/BIOS/Main/s", "/BIOS/Main/t"}, NODE_MENU);
    engine->Set("/BIOS/Main/s", "1");
    engine->Set("/BIOS/Main/t", std::string(300, 'x'));
    engine->SetList("/BIOS/BootOrder", {});
    engine->Set("/BIOS/BootOrder[1]", "Disk");
    engine->Set("/BIOS/BootOrder[2]", "Net");
  }

  [[nodiscard]] std::string Scf() const { return PathOf("x.scf"); }
  void Save(int mode) { OpenSaveRestore().Save(Options(Scf(), mode)); }

  /// The code with which a restore of the file ends; what it has written is in the engine.
  int Restore(int mode, bool skipBootOrder = false, bool skipSystemCheck = false) {
    QuietRestore module;
    return Restore(module, mode, skipBootOrder, skipSystemCheck);
  }
  int Restore(QuietRestore& module, int mode, bool skipBootOrder, bool skipSystemCheck) {
    engine->writes.clear();
    SDK::SavenRestoreOptions options = Options(Scf(), mode);
    options.skipBootOrder = skipBootOrder;
    options.skipSystemCheck = skipSystemCheck;
    return CodeOf([&] { module.Restore(options); });
  }

  /// True when the engine was asked to set `path`.
  [[nodiscard]] bool Wrote(const std::string& path) const {
    return std::ranges::any_of(engine->writes, [&](const FakeProvider::Written& write) {
      return write.settings.contains(path);
    });
  }
};

/// An example machine and a mode.
using Twin = std::tuple<const char*, int>;

class StreamTwinTest : public EngineTest, public ::testing::WithParamInterface<Twin> {
 protected:
  StreamTwinTest() { Load(); }

  void Load() {
    std::filesystem::copy_file(
        kSource + "/examples/machines/" + std::get<0>(GetParam()) + "-server.json",
        PathOf("m.json"), std::filesystem::copy_options::overwrite_existing);
    Mount(std::make_shared<Machine::MachineProvider>(PathOf("m.json")));
  }

  [[nodiscard]] SDK::SavenRestoreOptions OptionsFor(const char* file) const {
    SDK::SavenRestoreOptions options = Options(PathOf(file), std::get<1>(GetParam()));
    const std::string password = Machine::LoadMachine(PathOf("m.json")).adminPassword;
    password.copy(options.password, sizeof options.password - 1);
    return options;
  }

  /// Gives every setting that takes it another value; the same ones each time.
  void Scramble() {
    Machine::MachineImage machine = Machine::LoadMachine(PathOf("m.json"));
    std::mt19937 random(7);  // NOLINT: the same each time
    for (auto& [path, node] : machine.nodes) {
      if (node.options.size() < 2 || node.values.empty()) continue;
      auto option = node.options.begin();
      std::advance(option, random() % node.options.size());
      node.values = {option->first};
    }
    std::swap(machine.nodes["/BIOS/BootOrder[1]"], machine.nodes["/BIOS/BootOrder[2]"]);
    Machine::StoreMachine(machine, PathOf("m.json"));
    Mount(std::make_shared<Machine::MachineProvider>(PathOf("m.json")));
  }

  std::string MachineAfterRestoreOf(const char* file) {
    Load();
    Scramble();
    const std::string scrambled = ReadText(PathOf("m.json"));
    QuietRestore().Restore(OptionsFor(file));
    EXPECT_NE(ReadText(PathOf("m.json")), scrambled);
    return ReadText(PathOf("m.json"));
  }
};

TEST_P(StreamTwinTest, SavesAndRestoresWhatTheTextFormDoes) {
  OpenSaveRestore().Save(OptionsFor("x.ini"));
  OpenSaveRestore().Save(OptionsFor("x.scf"));

  FILE* file = std::fopen(PathOf("back.ini").c_str(), "w");
  ASSERT_NE(file, nullptr);
  {
    SDK::IniRowSink text(file);
    for (const Scf::Section& section :
         SDK::Stream::InTextOrder(SDK::Stream::Decode(ReadBytes(PathOf("x.scf"))))) {
      text.BeginSection(section.name);
      for (const SDK::Row& row : section.rows) text.Write(row);
    }
  }
  std::fclose(file);
  const std::string ini = ReadText(PathOf("x.ini"));
  EXPECT_EQ(ReadText(PathOf("back.ini")), ini.substr(ini.find("\n[SYSTEM]") + 1));

  EXPECT_EQ(MachineAfterRestoreOf("x.scf"), MachineAfterRestoreOf("x.ini"));
}

INSTANTIATE_TEST_SUITE_P(Machines, StreamTwinTest,
                         ::testing::Combine(::testing::Values("caldra", "oskent", "r8810lqe"),
                                            ::testing::Values(0, 1, 2)),
                         [](const auto& row) {
                           return std::get<0>(row.param) + std::to_string(std::get<1>(row.param));
                         });

/// A step of a restore: the block that it takes, and a key of it whose value goes to `path`.
struct Step {
  const char* target;
  const char* guid;
  const char* section;
  const char* key;
  const char* value;
  const char* path;
};
// clang-format off
constexpr auto kSteps = std::to_array<Step>({
    {"/BIOS", "7B1E744E-D460-48AC-B06E-35C6FA9E6077",
     "[BIOS::Main]", "s", "2", "/BIOS/Main/s"},
    {"/BIOS/BootOrder", "CB3D5A82-AE1B-406B-9067-EB5EC70C243B",
     "[BIOS::BootOrder]", "Net", "1", "/BIOS/BootOrder[1]"},
    {"/BMC/SCF/SOL", "965F6C4E-924B-4C8B-8082-CDDE7458026D",
     "[CHANNEL::LAN1::SOL]", "PrivilegeLevelLimit", "USER", "/BMC/SOL/CHANNEL[1]/PRIVILEGE"},
    {"/BMC/SCF/POWER", "52FC8F75-B0BD-4AD4-91A5-E6056CC7730C",
     "[POWER]", "PowerRestorePolicy", "OFF", "/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY"},
    {"/BMC/SCF/PEF", "510EC03A-B8BC-4FB7-9AB4-500B8799EB96",
     "[PEF]", "PEFEnable", "DISABLE", "/BMC/PEF/STATUS"},
    {"/BMC/SCF/USER", "445D1BF7-7FBC-4A10-9DC2-7DFD0D5398DD",
     "[USERS::USER3]", "UserName", "name", "/BMC/USER[3]/NAME"},
    {"/BMC/SCF/LAN", "9D1EB92B-D32F-4C95-91AD-8AF0DFB3D0DE",
     "[LANCHANNELS]", "DHCPHostName", "host", "/BMC/LAN/DHCP_HOSTNAME"},
});
// clang-format on
constexpr std::size_t kFirstBmcStep = 2;

EFI_GUID Guid(const char* text) {
  EFI_GUID guid = {};
  auto& d = guid.Data4;
  std::sscanf(text, "%8x-%4hx-%4hx-%2hhx%2hhx-%2hhx%2hhx%2hhx%2hhx%2hhx%2hhx",  // NOLINT
              &guid.Data1, &guid.Data2, &guid.Data3, &d[0], &d[1], &d[2], &d[3], &d[4], &d[5],
              &d[6], &d[7]);
  return guid;
}

TEST_F(StreamTest, AModeWritesOnlyItsBlocksAndTheFileIsForItsOwner) {
  for (const int mode : {0, 1, 2}) {
    Save(mode);
    std::vector<EFI_GUID> expected = {Guid("2300F388-9843-41DE-AFF3-CFBCC91912C5")};
    for (const Step& step : kSteps) {
      const bool isBmc = &step >= &kSteps[kFirstBmcStep];
      if (mode == 2 || isBmc == (mode == 1)) expected.push_back(Guid(step.guid));
    }
    const ByteList bytes = ReadBytes(Scf());
    EXPECT_TRUE(std::ranges::equal(Scf::Decode(bytes), expected, {}, &Scf::Block::guid)) << mode;
  }
  struct stat facts = {};
  ASSERT_EQ(stat(Scf().c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 07777U, 0600U);
}

TEST_F(StreamTest, TheStepsFollowEachOtherAndOneThatFailsIsTheLast) {
  engine->SetList("/BMC/SOL/CHANNEL", {"/BMC/SOL/CHANNEL[1]"});
  const NodeMap server = engine->tree;
  /// What the BMC steps before `end` queue.
  const auto queued = [](std::size_t end) {
    SDK::SettingMap settings;
    for (std::size_t step = kFirstBmcStep; step < end; ++step) {
      settings[kSteps[step].path] = kSteps[step].value;
    }
    return settings;
  };
  // Each step fails in turn, for want of its block or because that is for somebody else; then none.
  for (std::size_t turn = 0; turn <= 2 * kSteps.size(); ++turn) {
    const std::size_t failing = turn / 2;
    std::vector<ByteList> payloads;
    std::vector<Scf::Block> blocks;
    for (const Step& step : kSteps) {
      const bool fails = &step == &kSteps[0] + failing;
      payloads.push_back(Scf::EncodePayload({fails ? "/BMC/SCF/OTHER" : step.target,
                                             {{step.section, {{step.key, step.value, "", ""}}}}}));
      if (!fails || turn % 2 == 1) blocks.push_back({Guid(step.guid), payloads.back()});
    }
    WriteBytes(Scf(), Scf::Encode(blocks));
    engine->tree = server;
    QuietRestore module;
    module.goesOn = true;
    const bool isWhole = failing == kSteps.size();
    EXPECT_EQ(Restore(module, 2, false, true), isWhole ? 0 : 1179) << turn;

    std::vector<std::string> calls = {"group(/BIOS/AdminPw)"};
    if (failing >= kFirstBmcStep) calls.emplace_back("password()");
    if (isWhole) calls.emplace_back("batch(false,false)");
    ASSERT_TRUE(std::ranges::equal(engine->writes, calls, {}, &FakeProvider::Written::how)) << turn;
    if (failing >= kFirstBmcStep) {
      EXPECT_EQ(engine->writes[1].settings, (SDK::SettingMap{{"/BIOS/BootOrder[1]", "Net"},
                                                             {"/BIOS/BootOrder[2]", "Disk"},
                                                             {"/BIOS/Main/s", "2"}}));
    }
    EXPECT_EQ(module.biosSetMap.size(), failing == 1 ? 1U : 0U) << turn;
    EXPECT_EQ(isWhole ? engine->writes[2].settings : module.bmcSetMap, queued(failing)) << turn;
  }
}

TEST_F(StreamTest, WhatTheFileIsRefusedForIsNamedAndTheEnginesOwnFailuresPass) {
  Save(2);
  const ByteList whole = ReadBytes(Scf());
  const auto refused = [&](const char* section, const char* key) {
    std::vector<Scf::Section> sections = SDK::Stream::InTextOrder(SDK::Stream::Decode(whole));
    for (Scf::Section& candidate : sections) {
      if (candidate.name == section) candidate.rows = {{key, "1", "", ""}};
    }
    WriteBytes(Scf(), SDK::Stream::Encode(sections, 2));
    QuietRestore module;
    EXPECT_EQ(Restore(module, 2, false, false), 1179);
    return module.objection;
  };
  EXPECT_EQ(refused("[POWER]", "x"), "POWER::PowerRestorePolicy");
  EXPECT_EQ(refused("[BIOS::BootOrder]", "Stick"), "BIOS::BootOrder::Stick");
  WriteBytes(Scf(), whole);
  int calls = 1;
  int refusals = 0;
  for (int call = 1; call <= calls; ++call) {
    const auto failing = std::make_shared<FailingProvider>(engine, call, ErrorManager::WriteFailed);
    engine->Set("/BIOS/Main/s", "2");
    Mount(failing);
    const int code = Restore(2);
    calls = std::max(calls, failing->Calls());
    if (!failing->HasFailedWrite()) continue;
    ++refusals;
    EXPECT_EQ(code, ErrorManager::WriteFailed) << call;
  }
  EXPECT_EQ(refusals, 3);  // the password, the batches of the BIOS and the BMC
}

TEST_F(StreamTest, OnlyWhatDiffersIsQueuedAndALongValueIsNotCut) {
  Save(0);
  EXPECT_EQ(Restore(0), 0);
  EXPECT_FALSE(Wrote("/BIOS/Main/s"));
  engine->Set("/BIOS/Main/s", "2");
  engine->Set("/BIOS/Main/t", "other");
  // The batch is sent also when the boot order is skipped.
  std::swap(engine->tree["/BIOS/BootOrder[1]"], engine->tree["/BIOS/BootOrder[2]"]);
  EXPECT_EQ(Restore(0, true), 0);
  EXPECT_EQ(engine->tree["/BIOS/Main/s"].values.front(), "1");
  EXPECT_EQ(engine->tree["/BIOS/Main/t"].values.front(), std::string(300, 'x'));
  EXPECT_FALSE(Wrote("/BIOS/BootOrder[1]"));
}

TEST_F(StreamTest, FailOverOfTheLanBlockCountsForTheBlocksBeforeIt) {
  for (const char* index : {"[1]", "[2]"}) {
    for (const char* collection : {"/BMC/LAN", "/BMC/SOL/CHANNEL"}) {
      engine->tree[collection].values.push_back(std::string(collection) + index);
    }
    engine->Set(std::string("/BMC/SOL/CHANNEL") + index + "/PRIVILEGE", "ADMIN");
  }
  engine->Set("/BMC/LAN/FAILOVERMODE", "Enable");
  Save(1);
  engine->Set("/BMC/LAN/FAILOVERMODE", "DISABLE");
  EXPECT_EQ(Restore(1), 0);
  EXPECT_TRUE(Wrote("/BMC/SOL/CHANNEL[1]/PRIVILEGE"));
  EXPECT_FALSE(Wrote("/BMC/SOL/CHANNEL[2]/PRIVILEGE"));
}

TEST_F(StreamTest, AFileOfAnotherServerIsRefusedUnlessTheCheckIsSkipped) {
  Save(1);
  std::vector<LOGGER::LogRecord> records;
  const auto before = LOGGER::Logger::CreateInstance()->SetSink(
      [&](const LOGGER::LogRecord& record) { records.push_back(record); });
  for (const auto& [path, value, code] : {std::tuple{"/SMBIOS/Type0/BIOSVersion", "ABCDEF.02", 0},
                                          {"/SMBIOS/Type0/BIOSVersion", "ABCDEG.01", 1177},
                                          {"/BMC/INFO/VERSION", "", 1177},
                                          {"/BMC/INFO/VERSION", "3", 1177}}) {
    const _XNode was = engine->tree[path];
    engine->Set(path, value);
    EXPECT_EQ(Restore(1), code) << path << value;
    EXPECT_EQ(engine->writes.empty(), code != 0);
    EXPECT_EQ(Restore(1, false, true), 0);
    engine->tree[path] = was;
  }
  LOGGER::Logger::CreateInstance()->SetSink(before);
  EXPECT_EQ(records.size(), 1U);
}

TEST_F(StreamTest, ModesOutOfRangeAndFilesThatCannotBeUsed) {
  for (const int mode : {-1, 3}) EXPECT_EQ(Restore(mode), 1180);
  EXPECT_EQ(Restore(1), 1177) << "there is no file";
  WriteText(Scf(), "[SYSTEM]\n");
  EXPECT_EQ(Restore(1), 1177);
}

TEST_F(StreamTest, ABufferOfSomebodyElsesIsReadAsCarefullyAsTheObjectsOwn) {
  Save(1);
  QuietRestore module;
  const unsigned char* buffer = nullptr;
  unsigned length = 0;
  ASSERT_EQ(module.ValidateStream(Scf().c_str(), buffer, length, false), 0);
  const auto& [target, guid, section, key, value, path] = kSteps[kFirstBmcStep + 1];
  const ByteList copy(buffer, buffer + length);
  const auto step = [&](std::size_t size, const EFI_GUID& block, const char* to) {
    return module.RestoreFWConfigurationFromStream(copy.data(), static_cast<unsigned>(size), block,
                                                   to);
  };
  EXPECT_EQ(step(length, Guid(guid), target), 0);
  EXPECT_TRUE(module.bmcSetMap.contains(path));
  EXPECT_NE(step(length - 1, Guid(guid), target), 0);
  EXPECT_NE(step(length, SDK::kSystemStreamBlock.guid, SDK::kSystemStreamBlock.target), 0);
  EXPECT_NE(step(length, {}, ""), 0);
}

TEST_F(StreamTest, ARestoreAfterAnotherOperationOfTheSameObjectRestores) {
  Save(1);
  QuietRestore module;
  module.Save(Options(PathOf("bios.ini"), 0));
  EXPECT_EQ(Restore(module, 1, false, false), 0);
  EXPECT_TRUE(Wrote("/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY"));
}

TEST_F(StreamTest, NoTruncatedOrFlippedFileWritesAnything) {
  const ByteList payload =
      Scf::EncodePayload({"/SYSTEM", {{"[SYSTEM]", {{"BIOSVersion", "1", "", ""}}}}});
  const auto blocks =
      std::to_array<Scf::Block>({{SDK::kSystemStreamBlock.guid, payload}, {{}, payload}});
  const ByteList bytes = Scf::Encode(blocks);
  const std::size_t descriptors = OpenDescriptors();
  const auto isRefused = [&](const ByteList& damaged) {
    WriteBytes(Scf(), damaged);
    return Restore(1, false, true) == 1177 && engine->writes.empty();
  };
  EXPECT_FALSE(isRefused(bytes)) << "it is damage that the others are refused for";
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    ASSERT_TRUE(isRefused({bytes.begin(), bytes.begin() + static_cast<long>(length)})) << length;
  }
  for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    ByteList flipped = bytes;
    flipped[bit / 8] = static_cast<unsigned char>(flipped[bit / 8] ^ (1U << (bit % 8)));
    ASSERT_TRUE(isRefused(flipped)) << bit;
  }
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

}  // namespace
}  // namespace Test
