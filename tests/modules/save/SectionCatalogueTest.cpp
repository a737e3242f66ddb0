#include <gmock/gmock.h>

#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::ElementsAre;

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

  static std::vector<std::string> Keys(const SDK::sectionData& section) {
    std::vector<std::string> keys;
    for (const SDK::Data& item : section.items) keys.push_back(item.key);
    return keys;
  }
};

TEST_F(SectionCatalogueTest, OnlyTheBmcModesHaveMoreThanSystem) {
  for (const int mode : {0, 3, -1, 100}) EXPECT_EQ(Sections("", "", mode).size(), 1U) << mode;
  std::vector<std::string> names;
  for (const auto& section : Sections("", "", 2)) {
    names.push_back(section.name + (section.numbered == 1 ? "#" : ""));
  }
  EXPECT_THAT(names, ElementsAre("[SYSTEM]", "[POWER]", "[USERS]", "[USERS::USER_]#", "[PEF]",
                                 "[PEF::FILTERS]", "[LANCHANNELS]", "[CHANNEL::LAN_]#",
                                 "[CHANNEL::LAN_::SOL]#", "[EMAILCONFIG]",
                                 "[EMAILCONFIG::CHANNEL_::INFO]#"));
}

TEST_F(SectionCatalogueTest, SystemRowsGoByThePlatformNotTheProduct) {
  const auto system = [&](const char* platform) {
    std::vector<std::string> rows;
    const auto sections = Sections(platform, "OSKENT", 0);
    for (const SDK::Data& item : sections.front().items) {
      rows.push_back(item.key + item.query);
    }
    return rows;
  };
  const std::string bios = "BIOSVersion/SMBIOS/Type0/BIOSVersion";
  const std::string boot = "FWBootVersion/BMC/INFO/BOOT_AREA_VERSION";
  const std::string code = "FWOpcodeVersion/BMC/INFO/VERSION";
  for (const char* name :
       {"CALDRA_PLATFORM", "MIRKET_PLATFORM", "BRISKEL_PLATFORM", "NARDUN_PLATFORM"}) {
    EXPECT_THAT(system(name), ElementsAre(bios, boot, code)) << name;
  }
  EXPECT_THAT(system("OSKENT_PLATFORM"),
              ElementsAre(bios, "FWOpcodeVersion/BMC/INFO/OP_AREA_VERSION",
                          "PIAVersion/BMC/INFO/PIA_AREA_VERSION"));
  for (const char* name : {"TARVEN_PLATFORM", "CALDRA", "oskent_platform", ""}) {
    EXPECT_THAT(system(name), ElementsAre(bios, code)) << name;
  }
}

struct ProductRow {
  const char* name;
  const char* product;
  bool failOverAndIpv6;
  bool baudRate;
  bool extendedMail;
};

class ProductTest : public SectionCatalogueTest,
                    public ::testing::WithParamInterface<ProductRow> {};

TEST_P(ProductTest, HasItsRows) {
  const ProductRow& row = GetParam();
  const auto sections = Sections("OSKENT_PLATFORM", row.product);
  EXPECT_EQ(Keys(sections[6]).size(), row.failOverAndIpv6 ? 3U : 2U);
  EXPECT_EQ(sections[7].items.size(), row.failOverAndIpv6 ? 25U : 20U);
  EXPECT_EQ(Keys(sections[8]).back(), row.baudRate ? "SolBaudRate" : "SolRetryInterval");
  EXPECT_EQ(Keys(sections[10]).back(),
            row.extendedMail ? "AuthenticationEncryptMethod" : "ServerAddress");
  EXPECT_STREQ(sections[10].items[7].comment, row.extendedMail
                                                  ? "\t; In xxx.xxx.xxx.xxx or "
                                                    "xxxx:xxxx:xxxx:xxxx:xxxx:xxxx:xxxx:xxxx form"
                                                  : "\t; In xxx.xxx.xxx.xxx form");
}

INSTANTIATE_TEST_SUITE_P(Rows, ProductTest,
                         ::testing::Values(ProductRow{"Oskent", "OSKENT", false, true, true},
                                           ProductRow{"Vexham", "VEXHAM", false, true, true},
                                           ProductRow{"Caldra", "CALDRA", true, false, false},
                                           ProductRow{"Mirket", "MIRKET", true, false, false},
                                           ProductRow{"Briskel", "BRISKEL", true, false, false},
                                           ProductRow{"Nardun", "NARDUN", true, false, false},
                                           ProductRow{"Tarven", "TARVEN", true, false, true},
                                           ProductRow{"OtherCase", "caldra", true, false, true},
                                           ProductRow{"Unknown", "", true, false, true}),
                         [](const auto& row) { return row.param.name; });

TEST_F(SectionCatalogueTest, TheOddTextsOfFilesInTheFieldStay) {
  const auto sections = Sections("", "");
  const auto& user = sections[3].items;
  EXPECT_EQ(user[3].key, "Ch");
  EXPECT_EQ(user[4].key, "PrivilegeChl_");
  EXPECT_STREQ(user[4].comment, "\t; Options: User, Operator, Admin, Callback, NoAccess ");
  EXPECT_EQ(user[6].query, "/BMC/SOL/USER[]/CHANNEL[]/PAYLOADACCESS");
  EXPECT_EQ(sections[7].items[22].key, "2");
  EXPECT_EQ(sections[10].items[3].query, "/BMC/LAN[]/ALERT/DESTINATION[1]/TO_EMAIL_ADDRESS");
}

TEST_F(SectionCatalogueTest, DefiningTwiceAppends) {
  OpenSaveRestore module;
  module.DefineSections(1);
  module.DefineSections(0);
  EXPECT_EQ(module.sections.size(), 12U);
}

}  // namespace
}  // namespace Test
