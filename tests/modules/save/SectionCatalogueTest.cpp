// Which rows a server has. Their texts are seen in the golden files.
#include <gmock/gmock.h>

#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using List = std::vector<std::string>;

class SectionCatalogueTest : public EngineTest {
 protected:
  /// The sections of a server for a mode.
  std::vector<SDK::sectionData> Sections(const std::string& platform, const std::string& product,
                                         int mode = 1) {
    SetServer(platform, product);
    OpenSaveRestore module;
    module.DefineSections(mode);
    return module.sections;
  }
};

TEST_F(SectionCatalogueTest, OnlyTheBmcModesHaveMoreThanSystem) {
  for (const int mode : {0, 3, -1, 100}) EXPECT_EQ(Sections("", "", mode).size(), 1U) << mode;
  List names;
  for (const auto& section : Sections("", "", 2)) {
    names.push_back(section.name + (section.numbered == 1 ? "#" : ""));
  }
  EXPECT_THAT(names, ElementsAre("[SYSTEM]", "[POWER]", "[USERS]", "[USERS::USER_]#", "[PEF]",
                                 "[PEF::FILTERS]", "[LANCHANNELS]", "[CHANNEL::LAN_]#",
                                 "[CHANNEL::LAN_::SOL]#", "[EMAILCONFIG]",
                                 "[EMAILCONFIG::CHANNEL_::INFO]#"));
  OpenSaveRestore module;
  module.DefineSections(1);
  module.DefineSections(0);
  EXPECT_EQ(module.sections.size(), 12U) << "defining again appends";
}

TEST_F(SectionCatalogueTest, SystemRowsGoByThePlatformNotTheProduct) {
  const List plain = {"BIOSVersion/SMBIOS/Type0/BIOSVersion", "FWOpcodeVersion/BMC/INFO/VERSION"};
  const List withBoot = {plain[0], "FWBootVersion/BMC/INFO/BOOT_AREA_VERSION", plain[1]};
  const List oskent = {plain[0], "FWOpcodeVersion/BMC/INFO/OP_AREA_VERSION",
                       "PIAVersion/BMC/INFO/PIA_AREA_VERSION"};
  for (const auto& [platform, expected] : {std::pair{"CALDRA_PLATFORM", withBoot},
                                           {"MIRKET_PLATFORM", withBoot},
                                           {"BRISKEL_PLATFORM", withBoot},
                                           {"NARDUN_PLATFORM", withBoot},
                                           {"OSKENT_PLATFORM", oskent},
                                           {"TARVEN_PLATFORM", plain},
                                           {"CALDRA", plain},
                                           {"oskent_platform", plain},
                                           {"", plain}}) {
    List rows;
    const auto sections = Sections(platform, "OSKENT", 0);
    for (const SDK::Data& item : sections[0].items) {
      rows.push_back(item.key + item.query);
    }
    EXPECT_EQ(rows, expected) << platform;
  }
}

TEST_F(SectionCatalogueTest, BmcRowsGoByTheProduct) {
  enum { OlderRows = 1, PlainMail = 2 };
  for (const auto& [product, kind] : {std::pair{"OSKENT", int{OlderRows}},
                                      {"VEXHAM", OlderRows},
                                      {"CALDRA", PlainMail},
                                      {"MIRKET", PlainMail},
                                      {"BRISKEL", PlainMail},
                                      {"NARDUN", PlainMail},
                                      {"TARVEN", 0},
                                      {"caldra", 0},
                                      {"", 0}}) {
    const auto sections = Sections("OSKENT_PLATFORM", product);
    const bool isOlder = kind == OlderRows;
    const bool isPlain = kind == PlainMail;
    EXPECT_EQ(sections[6].items.size(), isOlder ? 2U : 3U) << product;    // fail-over
    EXPECT_EQ(sections[7].items.size(), isOlder ? 20U : 25U) << product;  // IPv6
    EXPECT_EQ(sections[8].items.back().key, isOlder ? "SolBaudRate" : "SolRetryInterval");
    EXPECT_EQ(sections[10].items.back().key,
              isPlain ? "ServerAddress" : "AuthenticationEncryptMethod");
    const std::string_view comment = sections[10].items[7].comment;
    EXPECT_EQ(comment.find(" or xxxx:") == std::string_view::npos, isPlain) << product;
  }
}

}  // namespace
}  // namespace Test
