#include "modules/stream/ScfContainer.h"

#include <gmock/gmock.h>

#include <functional>

#include "modules/stream/Sealed.h"

namespace Test {
namespace {

using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

constexpr EFI_GUID kFirst = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};
constexpr EFI_GUID kSecond = {0xA0B0C0D0, 0xE0F0, 0x1122, {0x33, 0, 0, 0, 0, 0, 0, 0x44}};
constexpr std::size_t kTable = 24;
constexpr std::size_t kRow = 32;

const ByteList kCheck = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
const ByteList kShort = {0xAB};

ByteList TwoBlocks() {
  const auto blocks = std::to_array<Scf::Block>({{kFirst, kCheck}, {kSecond, kShort}});
  return Scf::Encode(blocks);
}

/// Why `bytes` are refused; empty when they are not.
std::string Objection(const ByteList& bytes) {
  try {
    static_cast<void>(Scf::Decode(bytes));
    return "";
  } catch (const Scf::Damaged& fault) {
    return fault.what();
  }
}

TEST(ScfContainer, EveryByteIsWhereTheFormatSays) {
  const ByteList bytes = TwoBlocks();
  const ByteList expected = {
      'S',  'R',  'S',  'C',  'F',  '\r', '\n', 0x1A,  // magic
      1,    0,    0,    0,    0,    0,    0,    0,     // version 1.0, flags
      2,    0,    0,    0,    130,  0,    0,    0,     // blocks, total
      1,    2,    3,    4,    5,    6,    7,    8,    9,    10, 11, 12,
      13,   14,   15,   16,   88,   0,    0,    0,    9,    0,  0,  0,  // offset, length
      0x83, 0x92, 0x06, 0xE3, 0,    0,    0,    0,  // the check value of CRC-32C
      0xA0, 0xB0, 0xC0, 0xD0, 0xE0, 0xF0, 0x11, 0x22, 0x33, 0,  0,  0,
      0,    0,    0,    0x44, 97,   0,    0,    0,    1,    0,  0,  0};
  ASSERT_EQ(bytes.size(), 130U);
  EXPECT_THAT(ByteList(bytes.begin(), bytes.begin() + 80), ElementsAreArray(expected));
  EXPECT_THAT(ByteList(bytes.begin() + 88, bytes.begin() + 98),
              ElementsAreArray("123456789\xAB", 10));
  EXPECT_EQ(bytes, Sealed(bytes));

  const std::vector<Scf::Block> blocks = Scf::Decode(bytes);
  ASSERT_EQ(blocks.size(), 2U);
  EXPECT_EQ(blocks[0].guid, kFirst);
  EXPECT_EQ(blocks[1].guid, kSecond);
  EXPECT_THAT(blocks[0].payload, ElementsAreArray(kCheck));
  EXPECT_THAT(blocks[1].payload, ElementsAreArray(kShort));
  EXPECT_TRUE(Scf::Decode(Scf::Encode({})).empty());
}

struct Fault {
  const char* name;
  std::function<void(ByteList&)> damage;  ///< before the digest is made right
  const char* text;
};

class ScfFaultTest : public ::testing::TestWithParam<Fault> {};

TEST_P(ScfFaultTest, IsRefusedAlthoughTheDigestIsRight) {
  ByteList bytes = TwoBlocks();
  GetParam().damage(bytes);
  EXPECT_THAT(Objection(Sealed(bytes)), HasSubstr(GetParam().text));
}

/// A change of one byte.
std::function<void(ByteList&)> Set(std::size_t at, unsigned char value) {
  return [=](ByteList& bytes) { bytes[at] = value; };
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ScfFaultTest,
    ::testing::Values(
        Fault{"Magic", Set(0, 's'), "no stream file"},
        Fault{"NewerMajor", Set(8, 2), "version 2.0"},
        Fault{"OlderMajor", Set(8, 0), "version 0.0"}, Fault{"Flag", Set(12, 1), "flags"},
        Fault{"TotalTooLong", Set(20, 131), "131"}, Fault{"ManyBlocks", Set(17, 1), "table"},
        Fault{"OneBlockTooMany", Set(16, 3), ""},
        Fault{"BlockInTheTable", Set(kTable + 16, 87), "outside"},
        Fault{"BlockInTheDigest", Set(kTable + kRow + 20, 2), "outside"},
        Fault{"BlockBehindTheEnd", Set(kTable + kRow + 19, 0xFF), "outside"},
        Fault{"LengthThatWraps", Set(kTable + 23, 0xFF), "outside"},
        Fault{"RowFlag", Set(kTable + 28, 1), "flags"},
        Fault{"PayloadByte", Set(88, 'x'), "checksum"},
        Fault{"Crc", Set(kTable + 24, 0), "checksum"},
        Fault{"OneGuidTwice",
              [](ByteList& bytes) {
                std::copy_n(bytes.begin() + kTable, 16, bytes.begin() + kTable + kRow);
              },
              "one GUID"},
        Fault{"Overlap",
              [](ByteList& bytes) {
                std::copy_n(bytes.begin() + kTable + 16, 12, bytes.begin() + kTable + kRow + 16);
              },
              "overlap"}),
    [](const auto& row) { return row.param.name; });

TEST(ScfContainer, ANewerMinorVersionIsRead) {
  ByteList bytes = TwoBlocks();
  bytes[10] = 9;
  EXPECT_EQ(Objection(Sealed(bytes)), "");
  EXPECT_THAT(Objection(bytes), HasSubstr("digest"));
  bytes.push_back(0);
  EXPECT_NE(Objection(Sealed(bytes)), "");
}

TEST(ScfContainer, MoreThan64MebibytesAreRefusedBothWays) {
  const ByteList payload(Scf::kMaxBytes - kTable - kRow - 32);
  const auto largest = std::to_array<Scf::Block>({{kFirst, payload}});
  const ByteList bytes = Scf::Encode(largest);
  EXPECT_EQ(bytes.size(), Scf::kMaxBytes);
  EXPECT_EQ(Objection(bytes), "");
  const auto tooLarge = std::to_array<Scf::Block>({{kFirst, payload}, {kSecond, kShort}});
  EXPECT_THROW(static_cast<void>(Scf::Encode(tooLarge)), Scf::Damaged);
}

}  // namespace
}  // namespace Test
