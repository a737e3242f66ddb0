// The machine as a whole: its facts, and what a user may.
#include "providers/host/HostProvider.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "HostTest.h"
#include "providers/host/DmiFacts.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

class HostProviderTest : public HostTest {
 protected:
  void SetServer() {
    host.SetDmi("bios_version", "C41200.04.17.0031");
    host.SetDmi("board_name", " R7740HCA ");
    host.SetDmi("product_name", "Server CALDRA X2");
    SetEnumeration("Quiet", "Enabled", "Disabled;Enabled");
    SetEnumeration("Wake", "Off", "Off;On");
    host.SetBootEntry(0, "Debian");
    host.SetBootEntry(1, "Network");
    host.SetBootOrder({0, 1});
  }
};

TEST_F(HostProviderTest, AMachineWithoutAnyOfItHasLittleInItsTrees) {
  EXPECT_THAT(Read("/BIOS").at("/BIOS").values, IsEmpty());
  for (const char* path : {"/BIOS/BootOrder", "/BIOS/PlatformID", "/SMBIOS", "/BIOS/Advanced",
                           "/BIOS/No/@children", "/BMC"}) {
    EXPECT_EQ(CodeOf([&] { static_cast<void>(Read(path)); }), ErrorManager::NoSuchNode) << path;
  }
  EXPECT_EQ(provider->PlatformName(), "");
  provider->Write({}, true, false);
  provider->WriteGroup("/BIOS/AdminPw", {{"ADMIN_PW", ""}, {"SETVALUE", ""}});
  EXPECT_THAT(TakeNotes(), IsEmpty());
}

TEST_F(HostProviderTest, TellsWhatTheFirmwareSaysOfTheMachine) {
  SetServer();
  EXPECT_EQ(Value("/SMBIOS/Type0/BIOSVersion"), "C41200.04.17.0031");
  EXPECT_EQ(Value("/BIOS/PlatformID"), "R7740HCA");
  EXPECT_EQ(provider->PlatformName(), "CALDRA_PLATFORM");
  EXPECT_EQ(Host::PlatformOf("TARVEN 9"), "TARVEN_PLATFORM");
  EXPECT_EQ(Host::PlatformOf("caldra"), "");
  host.SetDmi("product_name", "Standard PC");
  EXPECT_EQ(provider->PlatformName(), "");
}

TEST_F(HostProviderTest, AFactThatDiffersDoesNotSinkTheBatch) {
  SetServer();
  EXPECT_EQ(
      CodeOf([&] {
        provider->Write({{"/SMBIOS/Type0/BIOSVersion", "older"}, {At("Wake"), "On"}}, true, false);
      }),
      ErrorManager::WritesRefused);
  EXPECT_THAT(TakeNotes(), ElementsAre(Pair("BIOSVersion", "refused: it is read-only")));
  EXPECT_EQ(host.Value(kDriver, "Wake"), "On");
}

/// Has this process the rights of a user while it exists, where it is root.
struct AsUser {
  AsUser() { static_cast<void>(!seteuid(65534)); }
  ~AsUser() { static_cast<void>(!seteuid(getuid())); }
};

TEST_F(HostProviderTest, WhatOnlyRootMayIsSaidToOthersBeforeAnythingIsWritten) {
  namespace fs = std::filesystem;
  SetServer();
  fs::permissions(PathOf(""), fs::perms(0755));
  const fs::path order =
      fs::path(host.Efivarfs()) / "BootOrder-8be4df61-93ca-11d2-aa0d-00e098032b8c";
  fs::permissions(host.ValueFile(kDriver, "Wake"), fs::perms(0666));
  fs::permissions(order, fs::perms(getuid() == 0 ? 0644 : 0444));
  std::string message;
  {
    const AsUser user;
    message = MessageOf([&] {
      provider->Write(
          {{"/BIOS/BootOrder[1]", "Network"}, {"/BIOS/BootOrder[2]", "Debian"}, {At("Wake"), "On"}},
          true, false);
    });
  }
  EXPECT_THAT(message, HasSubstr("Access to " + order.string() +
                                 " is not permitted: Permission "
                                 "denied; only root may."));
  EXPECT_EQ(host.Value(kDriver, "Wake"), "Off");
  if (getuid() != 0) return;
  fs::permissions(host.ValueFile(kDriver, "Wake"), fs::perms(0644));
  const AsUser user;
  EXPECT_THAT(MessageOf([&] {
                provider->Write({{At("Wake"), "On"}}, true, false);
              }),
              HasSubstr("Wake/current_value is not permitted"));
}

}  // namespace
}  // namespace Test
