#include <gmock/gmock.h>

#include <algorithm>

#include "ini/IniDocument.h"
#include "modules/save/FileHeader.h"
#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class BmcSaveTest : public EngineTest {
 protected:
  void Save(int mode = 1) {
    OpenSaveRestore().Save(Options(PathOf("x.ini"), mode));
    text = ReadText(PathOf("x.ini"));
    ASSERT_EQ(document.Parse(text), IniDocument::Status::Ok);
  }

  /// The value of a key; "(none)" without one.
  [[nodiscard]] std::string Value(const char* section, const char* key) const {
    const IniDocument::Entry* entry = document.Find(section, key);
    return entry == nullptr ? "(none)" : std::string(entry->value);
  }
  [[nodiscard]] std::string Comment(const char* section, const char* key) const {
    const IniDocument::Entry* entry = document.Find(section, key);
    return entry == nullptr ? "(none)" : std::string(entry->comment);
  }
  [[nodiscard]] std::vector<std::string> Keys(const char* section) const {
    std::vector<std::string> keys;
    for (const auto& entry : document.Entries()) {
      if (document.Sections()[entry.section].name == section) keys.emplace_back(entry.key);
    }
    return keys;
  }

  /// `count` members of a collection.
  void SetMembers(const std::string& collection, int count) {
    std::vector<std::string> members;
    for (int member = 1; member <= count; ++member) {
      members.push_back(collection + "[" + std::to_string(member) + "]");
    }
    engine->SetList(collection, members);
  }

  std::string text;
  IniDocument document;
};

TEST_F(BmcSaveTest, BeginsWithTheHeaderAnEmptyLineAndSystem) {
  SetServer("CALDRA_PLATFORM", "CALDRA");
  engine->Set("/SMBIOS/Type0/BIOSVersion", "B1");
  Save();
  const std::string header(SDK::kFileHeader);
  EXPECT_EQ(header.size(), 457U);
  EXPECT_TRUE(text.starts_with(header + "\n[SYSTEM]\nBIOSVersion=B1\t; This field should not be "
                                        "edited\nFWBootVersion=\t;"));
  EXPECT_TRUE(text.starts_with("; Warning!!! Warning!!! Warning!!! \n; ----"));
}

TEST_F(BmcSaveTest, ModesChooseTheParts) {
  Save(1);
  EXPECT_FALSE(document.HasSection("BIOS::BootOrder"));
  Save(0);
  EXPECT_EQ(document.Sections().size(), 3U);
  EXPECT_FALSE(document.HasSection("POWER"));
  Save(2);
  EXPECT_TRUE(document.HasSection("POWER") && document.HasSection("BIOS::BootOrder"));
  Save(3);
  EXPECT_EQ(document.Sections().size(), 1U);
}

TEST_F(BmcSaveTest, AServerThatTellsNothingHasPlainSectionsOnly) {
  Save();
  EXPECT_EQ(Keys("USERS::USER1").front(), "UserName");  // the user walk asks nobody
  EXPECT_FALSE(document.HasSection("CHANNEL::LAN1"));
  EXPECT_THAT(text, Not(HasSubstr("ERROR")));
  EXPECT_EQ(Value("LANCHANNELS", "NumberOfLANChannels"), "");
  EXPECT_EQ(Value("EMAILCONFIG", "NumberOfEmailConfig"), "0");
  EXPECT_THAT(engine->reads, ::testing::Each(Not(HasSubstr("[]"))));
}

TEST_F(BmcSaveTest, UsersAreFiveAndNeverCounted) {
  SetMembers("/BMC/USER", 9);
  Save();
  EXPECT_EQ(Value("USERS", "NumberOfUsers"), "5");
  EXPECT_EQ(engine->Reads("/BMC/USER"), 0);
  EXPECT_TRUE(document.HasSection("USERS::USER5"));
  EXPECT_FALSE(document.HasSection("USERS::USER6"));
}

TEST_F(BmcSaveTest, AReservedUserLeavesNoTraceAndAReservedStatusOnlyTheName) {
  engine->Set("/BMC/USER[2]/NAME", "RESERVED");
  engine->Set("/BMC/USER[3]/NAME", "mira");
  engine->Set("/BMC/USER[3]/STATUS", "RESERVEDUSERPREV");
  engine->Set("/BMC/USER[4]/NAME", "reserved");
  Save();
  EXPECT_FALSE(document.HasSection("USERS::USER2"));
  EXPECT_THAT(Keys("USERS::USER3"), ElementsAre("UserName"));
  EXPECT_THAT(Keys("USERS::USER4"), ElementsAre("UserName", "GlobalUserStatus"));
}

TEST_F(BmcSaveTest, ChannelsOfAUserFollowEachOtherAndAReservedOneEndsItsOwnKeysOnly) {
  SetMembers("/BMC/USER[3]/CHANNEL", 4);
  engine->Set("/BMC/USER[3]/CHANNEL[1]/PRIVILEGE", "ADMIN");
  engine->Set("/BMC/USER[3]/CHANNEL[2]/IPMI_AUTHENTICATION", "RESERVED");
  engine->Set("/BMC/USER[3]/CHANNEL[3]/PRIVILEGE", "RESERVEDUSERPREV");
  engine->Set("/BMC/SOL/USER[3]/CHANNEL[4]/PAYLOADACCESS", "ENABLE");
  Save();
  EXPECT_THAT(Keys("USERS::USER3"),
              ElementsAre("UserName", "GlobalUserStatus", "PrivilegeChl1", "UserAccessCh1",
                          "SOLEnableCh1", "PrivilegeChl2", "PrivilegeChl4", "UserAccessCh4"));
  EXPECT_EQ(Value("USERS::USER3", "PrivilegeChl1"), "ADMIN");
}

TEST_F(BmcSaveTest, TheFirstTwoUsersCarryTheNotEditedCommentWhereTheyAreFixed) {
  const std::string fixed = "; This field should not be edited";
  for (const char* product : {"CALDRA", "MIRKET", "BRISKEL", "NARDUN", "TARVEN", "OSKENT", ""}) {
    SetServer("", product);
    SetMembers("/BMC/USER[2]/CHANNEL", 1);
    Save();
    const bool keepsSecond =
        product[0] != '\0' && std::string("TARVEN OSKENT").find(product) == std::string::npos;
    EXPECT_EQ(Comment("USERS::USER1", "UserName"), fixed) << product;
    EXPECT_EQ(Comment("USERS::USER1", "GlobalUserStatus"), "; Options: Enable or Disable");
    EXPECT_EQ(Comment("USERS::USER2", "UserName") == fixed, keepsSecond) << product;
    EXPECT_EQ(Comment("USERS::USER2", "GlobalUserStatus"), "; Options: Enable or Disable");
    EXPECT_EQ(Comment("USERS::USER2", "SOLEnableCh1") == fixed, keepsSecond) << product;
    EXPECT_NE(Comment("USERS::USER3", "UserName"), fixed) << product;
  }
}

TEST_F(BmcSaveTest, FiltersAreWrittenFromTwelveOnAndOnlyTwelve) {
  engine->Set("/BMC/PEF/FILTER[3]/STATUS", "RESERVED");
  for (const auto& [reported, written] : {std::pair{11, 0U}, {12, 11U}, {20, 11U}}) {
    SetMembers("/BMC/PEF/FILTER", reported);
    Save();
    EXPECT_TRUE(document.HasSection("PEF::FILTERS"));
    EXPECT_EQ(Keys("PEF::FILTERS").size(), written) << reported;
  }
  EXPECT_EQ(Keys("PEF::FILTERS").back(), "Filter12");
  EXPECT_EQ(Value("PEF::FILTERS", "Filter3"), "(none)");
  // The first twelve that the BMC lists, whatever their numbers.
  std::ranges::reverse(engine->tree["/BMC/PEF/FILTER"].values);
  engine->Set("/BMC/PEF/FILTER[20]/STATUS", "ENABLE");
  Save();
  EXPECT_EQ(Value("PEF::FILTERS", "Filter20"), "ENABLE");
  EXPECT_EQ(Keys("PEF::FILTERS").back(), "Filter9");
}

TEST_F(BmcSaveTest, Ipv6DetailsFollowTheStatusOfTheirChannel) {
  SetMembers("/BMC/LAN", 2);
  engine->Set("/BMC/LAN[1]/IPV6STATUS", "ENABLED");
  engine->Set("/BMC/LAN[2]/IPV6STATUS", "ENABLE");
  engine->Set("/BMC/LAN[2]/IPV6", "2001:DB8::2");
  engine->Set("/BMC/LAN[2]/IPV6SOURCE", "RESERVED");  // ends nothing here
  Save();
  EXPECT_EQ(Value("CHANNEL::LAN1", "IPV6Status"), "ENABLED");
  for (const char* key : {"IPV6Source", "IPV6PrefixLength", "IPV6", "IPV6GatewayIP"}) {
    EXPECT_EQ(Value("CHANNEL::LAN1", key), "(none)");
    EXPECT_NE(Value("CHANNEL::LAN2", key), "(none)");
  }
  EXPECT_EQ(Value("CHANNEL::LAN2", "IPV6"), "2001:DB8::2");
}

TEST_F(BmcSaveTest, AlertDestinationsAreTwoForEachChannelInTheirOrder) {
  SetMembers("/BMC/LAN", 1);
  engine->Set("/BMC/LAN[1]/ALERT/DESTINATION[1]/MAC", "00-00-5E-00-53-01");
  Save();
  std::vector<std::string> keys = Keys("CHANNEL::LAN1");
  keys.erase(keys.begin(), keys.end() - 4);
  EXPECT_THAT(keys, ElementsAre("AlertIP0", "AlertMAC0", "AlertIP1", "AlertMAC1"));
  EXPECT_EQ(Value("CHANNEL::LAN1", "AlertMAC1"), "00-00-5E-00-53-01");
  EXPECT_EQ(engine->Reads("/BMC/LAN[1]/ALERT/DESTINATION"), 0);
}

TEST_F(BmcSaveTest, RetryIntervalsAreWrittenInMilliseconds) {
  for (const auto& [stored, written] : {std::pair{"25", "250"},
                                        {"", "0"},
                                        {"x", "0"},
                                        {"12ab", "120"},
                                        {"-3", "0"},
                                        {" 3", "0"},
                                        {"007", "70"},
                                        {"1844674407370955162", "18446744073709551620"},
                                        {"RESERVED", "0"}}) {
    SetMembers("/BMC/SOL/CHANNEL", 1);
    engine->Set("/BMC/SOL/CHANNEL[1]/RETRY/INTERVAL", stored);
    Save();
    EXPECT_EQ(Value("CHANNEL::LAN1::SOL", "SolRetryInterval"), written) << stored;
  }
}

TEST_F(BmcSaveTest, MailSettingsComeFromTheirFixedDestinations) {
  SetMembers("/BMC/LAN", 2);
  engine->Set("/BMC/LAN[2]/ALERT/DESTINATION[0]/SENDER_MACHINE_NAME", "from 0");
  engine->Set("/BMC/LAN[2]/ALERT/DESTINATION[1]/EMAIL_SUBJECT", "from 1");
  engine->Set("/BMC/LAN[1]/ALERT/DESTINATION[1]/SMTP_CONFIG_SUPPORTED", "1");
  engine->Set("/BMC/LAN[2]/ALERT/DESTINATION[1]/SMTP_CONFIG_SUPPORTED", "1");
  Save();
  EXPECT_EQ(Value("EMAILCONFIG::CHANNEL2::INFO", "SenderName"), "from 0");
  EXPECT_EQ(Value("EMAILCONFIG::CHANNEL2::INFO", "Subject"), "from 1");
  EXPECT_EQ(Value("EMAILCONFIG", "NumberOfEmailConfig"), "2");
}

TEST_F(BmcSaveTest, MembersThatAreNoNumbersArePassedOver) {
  engine->SetList("/BMC/LAN", {"/BMC/LAN[2]", "/BMC/LAN[]", "/BMC/LAN[x]", "/BMC/LAN"});
  Save();
  EXPECT_TRUE(document.HasSection("CHANNEL::LAN2"));
  EXPECT_FALSE(document.HasSection("CHANNEL::LANx") || document.HasSection("CHANNEL::LAN"));
  EXPECT_THAT(engine->reads, ::testing::Each(Not(HasSubstr("[]"))));
  engine->SetList("/BMC/LAN", {"first", "/BMC/LAN[2]"});
  Save();
  EXPECT_FALSE(document.HasSection("CHANNEL::LAN2"));
}

/// Keeps the names of the sections that a save announces.
class WatchedSave : public OpenSaveRestore {
 public:
  std::vector<std::string> started;

 protected:
  void SectionStarted(const std::string& name) override { started.push_back(name); }
};

TEST_F(BmcSaveTest, AnItemOutOfPlaceGivesAHeadingAnEmptyValueOrNothing) {
  engine->SetList("/BMC/X", {"1[7]"});
  const auto item = [](const char* key, SDK::queryType type) {
    return SDK::Data(key, "/BMC/X", "", type);
  };
  WatchedSave module;
  module.sections = {
      {"[A]", 0, {item("k", SDK::QT_INSTANCE)}},
      {"[B]", 0, {item("k", SDK::QT_GET), item("l", SDK::QT_INSTANCE)}},
      {"[C_]", 1, {item("", SDK::QT_LIST), item("k", SDK::QT_INSTANCE), item("l", SDK::QT_GET)}}};
  module.SaveFile(PathOf("x.ini").c_str(), 1);
  EXPECT_TRUE(ReadText(PathOf("x.ini")).ends_with("\n[A]\n[B]\nk=1[7]\nl=\n[C7]\nk=1[7]\n"));
  EXPECT_THAT(module.started, ElementsAre("[A]", "[B]", "[C7]"));
}

}  // namespace
}  // namespace Test
