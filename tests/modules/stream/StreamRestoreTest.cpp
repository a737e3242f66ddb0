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

/// Says nothing of the items that it passes over.
class QuietRestore : public OpenSaveRestore {
 protected:
  void PrintSkip(const std::string& /*text*/) override {}
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
  int Restore(int mode, bool skipBootOrder = false) {
    engine->writes.clear();
    SDK::SavenRestoreOptions options = Options(Scf(), mode);
    options.skipBootOrder = skipBootOrder;
    return CodeOf([&] { QuietRestore().Restore(options); });
  }

  /// True when the engine was asked to set `path`.
  [[nodiscard]] bool Wrote(const std::string& path) const {
    return std::ranges::any_of(engine->writes, [&](const FakeProvider::Written& write) {
      return write.settings.contains(path);
    });
  }

  /// Writes the file anew, with only those sections for which `keep` holds, as one of `mode`.
  template <typename Keep>
  void Rewrite(int mode, Keep keep) {
    std::vector<Scf::Section> sections =
        SDK::Stream::InTextOrder(SDK::Stream::Decode(ReadBytes(Scf())));
    std::erase_if(sections, [&](const Scf::Section& section) { return !keep(section.name); });
    WriteBytes(Scf(), SDK::Stream::Encode(sections, mode));
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

TEST_F(StreamTest, AModeWritesOnlyItsBlocksAndTheFileIsForItsOwner) {
  const auto guids = [&](int mode) {
    Save(mode);
    std::vector<std::uint32_t> first;
    for (const Scf::Block& block : Scf::Decode(ReadBytes(Scf()))) first.push_back(block.guid.Data1);
    return first;
  };
  using ::testing::ElementsAre;
  EXPECT_THAT(guids(0), ElementsAre(0x2300F388, 0x7B1E744E, 0xCB3D5A82));
  EXPECT_THAT(guids(1),
              ElementsAre(0x2300F388, 0x965F6C4E, 0x52FC8F75, 0x510EC03A, 0x445D1BF7, 0x9D1EB92B));
  EXPECT_EQ(guids(2).size(), 8U);
  struct stat facts = {};
  ASSERT_EQ(stat(Scf().c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 07777U, 0600U);
}

TEST_F(StreamTest, OnlyWhatDiffersIsQueuedAndALongValueIsNotCut) {
  Save(0);
  EXPECT_EQ(Restore(0), 0);
  EXPECT_FALSE(Wrote("/BIOS/Main/s"));
  engine->Set("/BIOS/Main/s", "2");
  engine->Set("/BIOS/Main/t", "other");
  EXPECT_EQ(Restore(0), 0);
  EXPECT_EQ(engine->tree["/BIOS/Main/s"].values.front(), "1");
  EXPECT_EQ(engine->tree["/BIOS/Main/t"].values.front(), std::string(300, 'x'));
}

TEST_F(StreamTest, TheBiosBatchIsSentAlsoWhenTheBootOrderIsSkipped) {
  Save(0);
  engine->Set("/BIOS/Main/s", "2");
  std::swap(engine->tree["/BIOS/BootOrder[1]"], engine->tree["/BIOS/BootOrder[2]"]);
  EXPECT_EQ(Restore(0, true), 0);
  EXPECT_TRUE(Wrote("/BIOS/Main/s"));
  EXPECT_FALSE(Wrote("/BIOS/BootOrder[1]"));
  EXPECT_EQ(Restore(0), 0);
  EXPECT_EQ(engine->tree["/BIOS/BootOrder[1]"].values.front(), "Disk");
}

TEST_F(StreamTest, FailOverOfTheLanBlockCountsForTheBlocksBeforeIt) {
  for (const char* number : {"1", "2"}) {
    const std::string index = std::string("[") + number + "]";
    for (const char* collection : {"/BMC/LAN", "/BMC/SOL/CHANNEL"}) {
      engine->tree[collection].values.push_back(collection + index);
    }
    engine->Set("/BMC/SOL/CHANNEL" + index + "/PRIVILEGE", "ADMIN");
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
  engine->Set("/SMBIOS/Type0/BIOSVersion", "ABCDEF.02");
  EXPECT_EQ(Restore(1), 0);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].line, 479);
  for (const auto& [path, value] : {std::pair{"/SMBIOS/Type0/BIOSVersion", "ABCDEG.01"},
                                    {"/BMC/INFO/VERSION", "3"},
                                    {"/BMC/INFO/VERSION", ""}}) {
    const std::string was = engine->tree[path].values.front();
    engine->Set(path, value);
    EXPECT_EQ(Restore(1), 1177) << path << value;
    EXPECT_TRUE(engine->writes.empty());
    engine->Set(path, was);
  }
  engine->Set("/BMC/INFO/VERSION", "3");
  SDK::SavenRestoreOptions options = Options(Scf(), 1);
  options.skipSystemCheck = true;
  EXPECT_EQ(CodeOf([&] { QuietRestore().Restore(options); }), 0);
  LOGGER::Logger::CreateInstance()->SetSink(before);
}

TEST_F(StreamTest, ModesOutOfRangeAndFilesThatCannotBeUsed) {
  for (const int mode : {-1, 3}) {
    EXPECT_EQ(CodeOf([&] { Save(mode); }), 1180);
    EXPECT_EQ(Restore(mode), 1180);
  }
  EXPECT_EQ(Restore(1), 1177) << "there is no file";
  EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Save(Options(PathOf("no/x.scf"), 1)); }), 1178);
  WriteText(Scf(), "[SYSTEM]\n");
  EXPECT_EQ(Restore(1), 1177);
}

TEST_F(StreamTest, ABlockThatIsMissingOrForSomebodyElseEndsTheRestore) {
  Save(0);
  EXPECT_EQ(Restore(1), 1179);
  EXPECT_TRUE(
      std::ranges::all_of(engine->writes, [](const auto& w) { return w.settings.empty(); }));
  Save(1);
  EXPECT_EQ(Restore(0), 1179);
  EXPECT_FALSE(Wrote("/BIOS/Main/s"));

  struct Open : OpenSaveRestore {
    using SaveRestore::RestoreFWConfigurationFromStream;
    using SaveRestore::ValidateStream;
  } module;
  const unsigned char* buffer = nullptr;
  unsigned length = 0;
  ASSERT_EQ(module.ValidateStream(Scf().c_str(), buffer, length, false), 0);
  const SDK::StreamBlock& sol = SDK::kBmcStreamBlocks[0];
  const SDK::StreamBlock& power = SDK::kBmcStreamBlocks[1];
  const auto step = [&](const EFI_GUID& guid, const char* target) {
    return module.RestoreFWConfigurationFromStream(buffer, length, guid, target);
  };
  EXPECT_EQ(step(power.guid, power.target), 0);
  EXPECT_TRUE(module.bmcSetMap.contains("/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY"));
  EXPECT_NE(step(power.guid, sol.target), 0);
  EXPECT_NE(step(SDK::kSystemStreamBlock.guid, SDK::kSystemStreamBlock.target), 0);
  EXPECT_NE(step({}, ""), 0);
  // A buffer of somebody else's is read as carefully as the object's own.
  const ByteList copy(buffer, buffer + length);
  EXPECT_EQ(module.RestoreFWConfigurationFromStream(copy.data(), length, sol.guid, sol.target), 0);
  EXPECT_NE(module.RestoreFWConfigurationFromStream(copy.data(), length - 1, sol.guid, sol.target),
            0);
}

TEST_F(StreamTest, AMissingKeyIsTheFailureThatItIsInATextFile) {
  Save(1);
  Rewrite(1, [](const std::string& section) { return section != "[POWER]"; });
  EXPECT_EQ(Restore(1), 1134);
}

TEST_F(StreamTest, NoTruncatedOrFlippedFileWritesAnything) {
  Save(1);
  Rewrite(1, [](const std::string& section) { return section == "[SYSTEM]"; });
  const ByteList bytes = ReadBytes(Scf());
  ASSERT_LT(bytes.size(), 700U);
  const auto isRefused = [&](const ByteList& damaged) {
    WriteBytes(Scf(), damaged);
    return Restore(1) == 1177 && engine->writes.empty();
  };
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    ASSERT_TRUE(isRefused({bytes.begin(), bytes.begin() + static_cast<long>(length)})) << length;
  }
  for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    ByteList flipped = bytes;
    flipped[bit / 8] = static_cast<unsigned char>(flipped[bit / 8] ^ (1U << (bit % 8)));
    ASSERT_TRUE(isRefused(flipped)) << bit;
  }
  const std::size_t descriptors = OpenDescriptors();
  EXPECT_TRUE(isRefused({}));
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

}  // namespace
}  // namespace Test
