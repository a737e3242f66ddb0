// The BMC part of a save: which sections and keys it has, with which values and comments.
#include "ini/IniDocument.h"
#include "modules/save/FileHeader.h"
#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

using ::testing::Each;
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

  /// The value of a key, or its comment; "(none)" without one.
  [[nodiscard]] std::string Value(
      const char* section, const char* key,
      std::string_view IniDocument::Entry::*part = &IniDocument::Entry::value) const {
    const IniDocument::Entry* entry = document.Find(section, key);
    return entry == nullptr ? "(none)" : std::string(entry->*part);
  }
  [[nodiscard]] std::string Comment(const char* section, const char* key) const {
    return Value(section, key, &IniDocument::Entry::comment);
  }
  /// The keys of a section: "A|B".
  [[nodiscard]] std::string Keys(const char* section) const {
    std::string keys;
    for (const auto& entry : document.Entries()) {
      if (document.Sections()[entry.section].name != section) continue;
      keys += (keys.empty() ? "" : "|") + std::string(entry.key);
    }
    return keys;
  }
  [[nodiscard]] bool Has(const char* section) const { return document.HasSection(section); }

  /// Adds settings below `path`: "name=value|...".
  void SetAll(const std::string& path, const std::string& settings) {
    for (const auto& [name, value] : SettingsBelow(path, settings)) engine->Set(name, value);
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
  for (const int mode : {0, 1, 2, 3}) {
    Save(mode);
    EXPECT_EQ(Has("POWER"), mode == 1 || mode == 2) << mode;
    EXPECT_EQ(Has("BIOS::BootOrder"), mode == 0 || mode == 2) << mode;
    EXPECT_TRUE(Has("SYSTEM"));
  }
}

TEST_F(BmcSaveTest, AServerThatTellsNothingHasPlainSectionsOnly) {
  Save();
  EXPECT_TRUE(Keys("USERS::USER1").starts_with("UserName"));  // the user walk asks nobody
  EXPECT_FALSE(Has("CHANNEL::LAN1"));
  EXPECT_THAT(text, Not(HasSubstr("ERROR")));
  EXPECT_EQ(Value("LANCHANNELS", "NumberOfLANChannels"), "");
  EXPECT_EQ(Value("EMAILCONFIG", "NumberOfEmailConfig"), "0");
  EXPECT_THAT(engine->reads, Each(Not(HasSubstr("[]"))));
}

TEST_F(BmcSaveTest, UsersAreFiveAndNeverCountedAndReservedOnesLeaveNoTrace) {
  SetMembers("/BMC/USER", 9);
  SetMembers("/BMC/USER[5]/CHANNEL", 4);
  SetAll("/BMC/USER",
         "[2]/NAME=RESERVED|[3]/STATUS=RESERVEDUSERPREV|[4]/NAME=reserved|"
         "[5]/CHANNEL[1]/PRIVILEGE=ADMIN|[5]/CHANNEL[2]/IPMI_AUTHENTICATION=RESERVED|"
         "[5]/CHANNEL[3]/PRIVILEGE=RESERVEDUSERPREV");
  engine->Set("/BMC/SOL/USER[5]/CHANNEL[4]/PAYLOADACCESS", "ENABLE");
  Save();
  EXPECT_EQ(Value("USERS", "NumberOfUsers"), "5");
  EXPECT_EQ(engine->Reads("/BMC/USER"), 0);
  EXPECT_FALSE(Has("USERS::USER2") || Has("USERS::USER6"));
  EXPECT_EQ(Keys("USERS::USER3"), "UserName");
  EXPECT_EQ(Keys("USERS::USER4"), "UserName|GlobalUserStatus");
  EXPECT_EQ(Keys("USERS::USER5"),
            "UserName|GlobalUserStatus|PrivilegeChl1|UserAccessCh1|SOLEnableCh1|PrivilegeChl2|"
            "PrivilegeChl4|UserAccessCh4");
  EXPECT_EQ(Value("USERS::USER5", "PrivilegeChl1"), "ADMIN");
}

TEST_F(BmcSaveTest, TheFirstTwoUsersCarryTheNotEditedCommentWhereTheyAreFixed) {
  const std::string fixed = "; This field should not be edited";
  for (const auto& [product, second] :
       SplitPairs("CALDRA=1|MIRKET=1|BRISKEL=1|NARDUN=1|TARVEN=|OSKENT=|=")) {
    const bool keepsSecond = !second.empty();
    SetServer("", product);
    SetMembers("/BMC/USER[2]/CHANNEL", 1);
    Save();
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
  const std::string eleven =
      "Filter1|Filter2|Filter4|Filter5|Filter6|Filter7|Filter8|Filter9|Filter10|Filter11|Filter12";
  for (const int reported : {11, 12, 20}) {
    SetMembers("/BMC/PEF/FILTER", reported);
    Save();
    EXPECT_TRUE(Has("PEF::FILTERS"));
    EXPECT_EQ(Keys("PEF::FILTERS"), reported == 11 ? "" : eleven);
  }
  // The first twelve that the BMC lists, whatever their numbers.
  std::ranges::reverse(engine->tree["/BMC/PEF/FILTER"].values.Edit());
  Save();
  EXPECT_TRUE(Keys("PEF::FILTERS").starts_with("Filter20|"));
  EXPECT_TRUE(Keys("PEF::FILTERS").ends_with("|Filter9"));
}

TEST_F(BmcSaveTest, ALanChannelHasItsDetailsDestinationsAndMail) {
  SetMembers("/BMC/LAN", 2);
  SetAll("/BMC/LAN",
         "[1]/IPV6STATUS=ENABLED|[2]/IPV6STATUS=ENABLE|[2]/IPV6=2001:DB8::2|"
         "[2]/IPV6SOURCE=RESERVED|"  // ends nothing here
         "[1]/ALERT/DESTINATION[1]/MAC=00-00-5E-00-53-01|"
         "[2]/ALERT/DESTINATION[0]/SENDER_MACHINE_NAME=from 0|"
         "[2]/ALERT/DESTINATION[1]/EMAIL_SUBJECT=from 1|"
         "[1]/ALERT/DESTINATION[1]/SMTP_CONFIG_SUPPORTED=1|"
         "[2]/ALERT/DESTINATION[1]/SMTP_CONFIG_SUPPORTED=1");
  Save();
  const std::string destinations = "|AlertIP0|AlertMAC0|AlertIP1|AlertMAC1";
  EXPECT_TRUE(Keys("CHANNEL::LAN1").ends_with("|IPV6Status" + destinations));
  EXPECT_TRUE(Keys("CHANNEL::LAN2")
                  .ends_with("|IPV6Status|IPV6Source|IPV6PrefixLength|IPV6|"
                             "IPV6GatewayIP" +
                             destinations));
  EXPECT_EQ(Value("CHANNEL::LAN2", "IPV6"), "2001:DB8::2");
  EXPECT_EQ(Value("CHANNEL::LAN1", "AlertMAC1"), "00-00-5E-00-53-01");
  EXPECT_EQ(engine->Reads("/BMC/LAN[1]/ALERT/DESTINATION"), 0);
  EXPECT_EQ(Value("EMAILCONFIG::CHANNEL2::INFO", "SenderName"), "from 0");
  EXPECT_EQ(Value("EMAILCONFIG::CHANNEL2::INFO", "Subject"), "from 1");
  EXPECT_EQ(Value("EMAILCONFIG", "NumberOfEmailConfig"), "2");
}

TEST_F(BmcSaveTest, RetryIntervalsAreWrittenInMilliseconds) {
  for (const auto& [stored, written] :
       SplitPairs("25=250|=0|x=0|12ab=120|-3=0| 3=0|007=70|RESERVED=0|"
                  "1844674407370955162=18446744073709551620")) {
    SetMembers("/BMC/SOL/CHANNEL", 1);
    engine->Set("/BMC/SOL/CHANNEL[1]/RETRY/INTERVAL", stored);
    Save();
    EXPECT_EQ(Value("CHANNEL::LAN1::SOL", "SolRetryInterval"), written) << stored;
  }
}

TEST_F(BmcSaveTest, MembersThatAreNoNumbersArePassedOver) {
  engine->SetList("/BMC/LAN", {"/BMC/LAN[2]", "/BMC/LAN[]", "/BMC/LAN[x]", "/BMC/LAN"});
  Save();
  EXPECT_TRUE(Has("CHANNEL::LAN2"));
  EXPECT_FALSE(Has("CHANNEL::LANx") || Has("CHANNEL::LAN"));
  EXPECT_THAT(engine->reads, Each(Not(HasSubstr("[]"))));
  engine->SetList("/BMC/LAN", {"first", "/BMC/LAN[2]"});
  Save();
  EXPECT_FALSE(Has("CHANNEL::LAN2"));
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
