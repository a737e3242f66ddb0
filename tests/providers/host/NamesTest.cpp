#include "providers/host/Names.h"

#include <gmock/gmock.h>

namespace Test {
namespace {

using ::testing::ElementsAre;

TEST(Names, ATextOfFirmwareBecomesOneLineOfUtf8) {
  EXPECT_EQ(Host::CleanName(" \tQuiet \n Boot\r\n"), "Quiet Boot");
  EXPECT_EQ(Host::CleanName("Gr\xC3\xBC\xC3\x9F"
                            "e \xF0\x9F\x92\xBE"),
            "Grüße 💾");
  EXPECT_EQ(Host::CleanName("\xFF"
                            "a\xC3"),
            "?a?");
  EXPECT_EQ(Host::CleanName("\xED\xA0\xBD"), "???") << "half of a surrogate pair";
  EXPECT_EQ(Host::CleanName("\xC0\xAF"), "??") << "an overlong slash";
  EXPECT_EQ(Host::CleanName("\xF4\x90\x80\x80"), "????") << "beyond Unicode";
  EXPECT_FALSE(Host::IsPlainText("a\nb"));
  EXPECT_FALSE(Host::IsPlainText("\xC3"));
  EXPECT_TRUE(Host::IsPlainText(" é "));
}

TEST(Names, ThingsThatShareALabelAreToldApart) {
  EXPECT_THAT(Host::UniqueNames({{"A", "1"}, {"B", "2"}, {"A", "3"}, {"", "4"}}),
              ElementsAre("A (1)", "B", "A (3)", "4"));
  EXPECT_THAT(Host::UniqueNames({{"A", "1"}, {"A", "2"}, {"A (1)", "3"}}),
              ElementsAre("A (1) (1)", "A (2)", "A (1)"));
  EXPECT_THAT(Host::UniqueNames({{"A", "1"}, {"A", "1"}}), ElementsAre("A (1)", "A (1) (1)"));
  EXPECT_THAT(Host::UniqueNames({{"A", "2"}, {"A", "1"}, {"B", "3"}, {"A (2)", "4"}},
                                Host::Sharing::LowestKeepsLabel),
              ElementsAre("A (2) (2)", "A", "B", "A (2)"));
}

}  // namespace
}  // namespace Test
