#include "ini/IniPrimitives.h"

#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <random>

#include "ini/IniDocument.h"
#include "support/TestEngine.h"

namespace Test {
namespace {

class IniPrimitivesTest : public EngineTest {
 protected:
  /// Reads a key into a buffer whose bytes behind `size` are guarded.
  int Read(const char* section, const char* key, unsigned short size = 128) {
    std::array<char, 512> buffer = {};
    buffer.fill('#');
    const int status =
        GetRequiredProfileString(section, key, "DEFAULT", buffer.data(), size, file.c_str(), 0);
    EXPECT_EQ(buffer[size], '#');
    EXPECT_NE(std::memchr(buffer.data(), 0, size), nullptr);
    value = buffer.data();
    return status;
  }

  std::string file = PathOf("x.ini");
  std::string value;
};

/// What the writers make of a section and one key.
std::string Written(const std::string& section, const std::string& key, const std::string& value,
                    const std::string& comment) {
  char* text = nullptr;
  std::size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  if (!section.empty()) iniFileWriteSection(stream, section.c_str());
  iniFileWriteDataString(stream, key.c_str(), value.c_str(), comment.c_str(), "any text");
  std::fclose(stream);
  std::string written(text, size);
  std::free(text);
  return written;
}

TEST_F(IniPrimitivesTest, WritesLinesByteForByte) {
  EXPECT_EQ(Written("[POWER]", "Policy", "On", "\t; Options: On, Off "),
            "[POWER]\nPolicy=On\t; Options: On, Off \n");
  EXPECT_EQ(Written("", "Quiet Boot", "1", ";Options: No=0: Yes=1"),
            "Quiet Boot=1\t;Options: No=0: Yes=1\n");
  EXPECT_EQ(Written("", "K", "", ""), "K=\n");
  EXPECT_EQ(Written("", "K", "1", "no semicolon"), "K=1\t; no semicolon\n");
  EXPECT_EQ(Written("", "=[;", "a=b;c", "\t;\n[X]"), "\\x3D[;=a=b;c\t;\\x0A[X]\n");
  EXPECT_EQ(Written("[A\n[B]]", "[k", " ;x\t\\x\x7F\\ ", ""),
            "[A\\x0A[B]]\n\\x5Bk=\\x20;x\\x09\\x5Cx\\x7F\\\\x20\n");
}

TEST_F(IniPrimitivesTest, EveryTextSurvivesAndHarmsNoOther) {
  std::mt19937 random(20261124);  // NOLINT: the same each time
  const std::string nasty = " \t\r\n;=[]\\x0A#:\"\x01\x7F";
  const auto text = [&](std::size_t longest) {
    std::string made;
    const auto rarity = 2 + random() % 20;  // often a single one in a plain text
    for (std::size_t left = random() % (longest + 1); left > 0; --left) {
      made += random() % rarity == 0 ? nasty[random() % nasty.size()]
                                     : static_cast<char>(rarity > 10 ? 'a' : 1 + random() % 255);
    }
    return made;
  };
  for (int round = 0; round < 3000; ++round) {
    const std::string section = "x" + text(12);
    const std::string key = "k" + text(12) + (round % 2 == 0 ? "" : " ");
    const std::string wanted = text(30);
    const std::string comment = text(20);
    IniDocument document;
    document.Parse("[safe]\nkey=1\n" + Written("[" + section + "]", key, wanted, comment) +
                   Written("", text(1) + "other" + text(3), text(9), text(9)) + "[after]\nkey=2\n");
    ASSERT_TRUE(document.IsWellFormed()) << round;
    ASSERT_EQ(document.Sections().size(), 3U) << round;
    ASSERT_EQ(document.Entries().size(), 4U) << round;
    ASSERT_NE(document.Find(section, key), nullptr) << round;
    ASSERT_EQ(document.Find(section, key)->value, wanted) << round;
    ASSERT_EQ(document.Find("safe", "key")->value, "1");
    ASSERT_EQ(document.Find("after", "key")->value, "2");
  }
}

TEST_F(IniPrimitivesTest, TheStatusSaysWhyThereIsNoValue) {
  WriteText(file, "[S]\nK=1\t; comment\nEmpty=\t; comment\n");
  EXPECT_EQ(Read("S", "K"), 0);
  EXPECT_EQ(value, "1");
  EXPECT_EQ(Read("S", "Empty"), 0);
  EXPECT_EQ(value, "");
  EXPECT_EQ(Read("T", "K"), -4);
  EXPECT_EQ(value, "DEFAULT");
  EXPECT_EQ(Read("S", "L"), -5);
  EXPECT_EQ(Read(nullptr, "K"), -2);
  EXPECT_EQ(Read("S", nullptr), -2);
  EXPECT_EQ(value, "DEFAULT");
  EXPECT_EQ(GetRequiredProfileString("S", "K", "", nullptr, 128, file.c_str(), 0), -2);
  file = PathOf("missing");
  EXPECT_EQ(Read("S", "K"), 75);
  EXPECT_EQ(value, "DEFAULT");
  EXPECT_EQ(Read("S", "K", 4), 75);
  EXPECT_EQ(value, "DEF");
}

TEST_F(IniPrimitivesTest, ALongValueIsCutAndTheBufferNeverOverrun) {
  WriteText(file, "[S]\nK=" + std::string(300, 'v') + "\n");
  EXPECT_EQ(Read("S", "K"), 0);
  EXPECT_EQ(value, std::string(127, 'v'));
  EXPECT_EQ(Read("S", "K", 1), 0);
  EXPECT_EQ(value, "");
}

TEST_F(IniPrimitivesTest, ALoadedDocumentAnswersWithoutTheFile) {
  IniDocument document;
  std::array<char, 128> buffer = {};
  EXPECT_EQ(GetRequiredProfileString("S", "K", "", buffer.data(), 128, document, 0), 75);
  WriteText(file, "[S]\nK=1\n");
  document.Load(file.c_str());
  std::filesystem::remove(file);
  EXPECT_EQ(GetRequiredProfileString("S", "K", "", buffer.data(), 128, document, 0), 0);
  EXPECT_STREQ(buffer.data(), "1");
}

TEST_F(IniPrimitivesTest, AMapReadGivesTheWholeSection) {
  std::map<std::string, std::string> entries = {{"stale", "1"}};
  WriteText(file, "[S]\nA=1\nB=2\n[T]\nC=3\n[S]\nA=4\t; x\n");
  EXPECT_EQ(GetRequiredProfileMap("S", file.c_str(), entries), 0);
  EXPECT_THAT(entries,
              ::testing::ElementsAre(::testing::Pair("A", "4"), ::testing::Pair("B", "2")));
  EXPECT_EQ(GetRequiredProfileMap("U", file.c_str(), entries), 0);
  EXPECT_THAT(entries, ::testing::IsEmpty());
  EXPECT_EQ(GetRequiredProfileMap(nullptr, file.c_str(), entries), -2);
  WriteText(file, "[S]\nA=1\nno key\n");
  EXPECT_EQ(GetRequiredProfileMap("S", file.c_str(), entries), 77);
  WriteText(file, std::string_view("[S]\nA=\0\n", 8));
  EXPECT_EQ(GetRequiredProfileMap("S", file.c_str(), entries), 77);
  EXPECT_EQ(GetRequiredProfileMap("S", PathOf("missing").c_str(), entries), 75);
}

}  // namespace
}  // namespace Test
