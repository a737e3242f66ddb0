// The field table and its codecs, without a BMC.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "providers/ipmi/Codec.h"
#include "providers/ipmi/FieldTable.h"

namespace Test {
namespace {

using Ipmi::Bytes;
using Ipmi::FieldRow;

const FieldRow& FieldAt(std::string_view path) {
  const auto table = Ipmi::FieldTable();
  const auto row = std::ranges::find(table, path, &FieldRow::path);
  if (row == table.end()) throw std::out_of_range(std::string(path));
  return *row;
}

TEST(IpmiFieldTest, EveryWordComesBackAndLeavesTheOtherBitsAlone) {
  for (const FieldRow& field : Ipmi::FieldTable()) {
    for (const Ipmi::Word& word : field.words) {
      std::string lower = word.text;
      std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
      for (const std::uint8_t background : std::to_array<std::uint8_t>({0x00, 0xFF})) {
        Bytes page(32, background);
        EXPECT_EQ(Ipmi::Encode(field, lower, page), "") << field.path;
        EXPECT_EQ(Ipmi::Decode(field, page), word.text) << field.path;
        const unsigned mask = field.mask == 0 ? 0xFFU : field.mask;
        page.at(field.offset) =
            static_cast<std::uint8_t>((page.at(field.offset) & ~mask) | (background & mask));
        EXPECT_EQ(page, Bytes(32, background)) << field.path;
      }
    }
  }
}

struct Value {
  const char* path;
  const char* text;
  const char* canonical;  ///< null when the text does not fit
};

TEST(IpmiFieldTest, TextsThatFitComeBackAndOthersChangeNothing) {
  const auto values = std::to_array<Value>({
      {"/BMC/LAN[L]/IP", "192.0.2.10", "192.0.2.10"},
      {"/BMC/LAN[L]/IP", "192.0.2.256", nullptr},
      {"/BMC/LAN[L]/IP", "192.0.2", nullptr},
      {"/BMC/LAN[L]/IPV6", "2001:db8:0::10", "2001:DB8::10"},
      {"/BMC/LAN[L]/IPV6", "192.0.2.1", nullptr},
      {"/BMC/LAN[L]/DEFAULTGATEWAYMAC", "00-00-5e-00-53-ff", "00-00-5E-00-53-FF"},
      {"/BMC/LAN[L]/DEFAULTGATEWAYMAC", "00:00:5E:00:53:FF", "00-00-5E-00-53-FF"},
      {"/BMC/LAN[L]/DEFAULTGATEWAYMAC", "00-00-5E-00-53", nullptr},
      {"/BMC/LAN[L]/DEFAULTGATEWAYMAC", "0--00-5E-00-53-FF", nullptr},
      {"/BMC/LAN[L]/ARPINTERVAL", "255", "255"},
      {"/BMC/LAN[L]/ARPINTERVAL", "256", nullptr},
      {"/BMC/LAN[L]/ARPINTERVAL", "-1", nullptr},
      {"/BMC/LAN[L]/ARPINTERVAL", "4 ", nullptr},
      {"/BMC/LAN[L]/IPV6PREFIXLENGTH", "129", nullptr},
      {"/BMC/SOL/CHANNEL[L]/RETRY/COUNT", "7", "7"},
      {"/BMC/SOL/CHANNEL[L]/RETRY/COUNT", "8", nullptr},
      {"/BMC/USER[U]/NAME", "exactly-16-bytes", "exactly-16-bytes"},
      {"/BMC/USER[U]/NAME", "a-name-of-17-byte", nullptr},
      {"/BMC/USER[U]/NAME", "two words", nullptr},
      {"/BMC/USER[U]/NAME", "M\xC3\xBCller", nullptr},
      {"/BMC/USER[U]/NAME", "M%fcller%", "M%FCller%"},
      {"/BMC/USER[U]/NAME", "%41%25%32%35", "A%2525"},
      {"/BMC/USER[U]/NAME", "five%20%20%20%20%20%20", "five%20%20%20%20%20%20"},
      {"/BMC/USER[U]/NAME", "a%00b", nullptr},
      {"/BMC/USER[U]/NAME", "N.A.", nullptr},
      {"/BMC/USER[U]/NAME", "%4E.A.", "%4E.A."},
      {"/BMC/LAN[L]/COMMUNITYSTRING", "", ""},
      {"/BMC/USER[U]/STATUS", "MAYBE", nullptr},
      {"/BMC/INFO/VERSION", "1.00", nullptr},
  });
  for (const Value& value : values) {
    const FieldRow& field = FieldAt(value.path);
    const Bytes before(32, 0xA5);
    Bytes page = before;
    const std::string fault = Ipmi::Encode(field, value.text, page);
    EXPECT_EQ(fault.empty(), value.canonical != nullptr) << value.path << " = " << value.text;
    if (value.canonical == nullptr) {
      EXPECT_EQ(page, before) << value.path << " = " << value.text;
    } else {
      EXPECT_EQ(Ipmi::Decode(field, page), value.canonical);
      EXPECT_EQ(Ipmi::Canonical(field, value.text), value.canonical);
    }
  }
}

TEST(IpmiFieldTest, BytesWithoutATextHaveNone) {
  EXPECT_EQ(Ipmi::Decode(FieldAt("/BMC/LAN[L]/IPTYPE_STATUS"), {0x0A}), std::nullopt);
  EXPECT_EQ(Ipmi::Decode(FieldAt("/BMC/USER[U]/STATUS"), {63, 0x03}), std::nullopt);
}

TEST(IpmiFieldTest, DeviceFactsAreReadAsTheStandardPutsThem) {
  // Get Device ID: 2 is the major revision (bit 7: update mode), 3 the minor one in BCD,
  // 6 to 8 the manufacturer of 20 bits, 9 and 10 the product.
  const Bytes device = {0x20, 1, 0x89, 0x08, 2, 0x9F, 0x91, 0x12, 0xF0, 0x02, 0x0F};
  EXPECT_EQ(Ipmi::Decode(FieldAt("/BMC/INFO/VERSION"), device), "9.08");
  EXPECT_EQ(Ipmi::Decode(FieldAt("/BMC/INFO/PRODUCT"), device), "Manufacturer 4753 product 3842");
}

TEST(IpmiFieldTest, APathNamesItsPlaceAndNothingElseDoes) {
  const FieldRow& destination = FieldAt("/BMC/LAN[L]/ALERT/DESTINATION[D]/IP");
  const auto place = Ipmi::PlaceOf(destination, "/BMC/LAN[11]/ALERT/DESTINATION[0]/IP");
  ASSERT_TRUE(place);
  EXPECT_EQ(place->channel, 11);
  EXPECT_EQ(place->selector, 1);  // the first destination that a BMC keeps
  for (const char* path :
       {"/BMC/LAN[]/ALERT/DESTINATION[0]/IP", "/BMC/LAN[1]/ALERT/DESTINATION[0]/IPX",
        "/BMC/LAN[01]/ALERT/DESTINATION[0]/IP", "/BMC/LAN[256]/ALERT/DESTINATION[0]/IP",
        "/BMC/LAN[-1]/ALERT/DESTINATION[0]/IP", "/BMC/LAN[1]/ALERT/DESTINATION[0]", "/BMC"}) {
    EXPECT_FALSE(Ipmi::PlaceOf(destination, path)) << path;
  }
}

}  // namespace
}  // namespace Test
