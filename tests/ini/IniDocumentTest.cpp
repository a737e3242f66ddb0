#include "ini/IniDocument.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/TestEngine.h"

namespace Test {
namespace {

using Kind = IniDocument::Problem::Kind;
using Status = IniDocument::Status;

class IniDocumentTest : public EngineTest {
 protected:
  /// The value of key K in section S of a text; "(none)" without one.
  std::string ValueIn(const std::string& text) {
    EXPECT_EQ(document.Parse(text), Status::Ok);
    const IniDocument::Entry* entry = document.Find("S", "K");
    return entry == nullptr ? "(none)" : std::string(entry->value);
  }

  IniDocument document;
};

struct LineRow {
  const char* name;
  const char* line;
  const char* value;
};

class LineTest : public IniDocumentTest, public ::testing::WithParamInterface<LineRow> {};

TEST_P(LineTest, GivesTheValueAlone) {
  EXPECT_EQ(ValueIn(std::string("[S]\n") + GetParam().line + "\n"), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LineTest,
    ::testing::Values(
        LineRow{"Plain", "K=1", "1"}, LineRow{"Comment", "K=1\t; text", "1"},
        LineRow{"OptionComment", "K=1\t;Options: a=0", "1"},
        LineRow{"Blanks", " \tK \t= \t1 2 \t", "1 2"}, LineRow{"CarriageReturn", "K=1\r", "1"},
        LineRow{"CommentBehindCarriageReturn", "K=1\t;x\r", "1"}, LineRow{"Empty", "K=", ""},
        LineRow{"EmptyWithComment", "K=\t; text", ""},
        LineRow{"SemicolonAtTheStart", "K=;text", ""},
        LineRow{"BlankThenSemicolonAtTheStart", "K=  ;text", ""},
        LineRow{"SemicolonInside", "K=a;b ;c", "a;b ;c"}, LineRow{"EqualsInside", "K=a=b", "a=b"},
        LineRow{"TabInside", "K=a\tb", "a\tb"},
        LineRow{"Escapes", R"(K=\x20a\x3Bb\x0a\xC3\xA9\x20)", " a;b\n\xC3\xA9 "},
        LineRow{"NoEscape", R"(K=\\x4 \X41 \x4g C:\dir)", R"(\\x4 \X41 \x4g C:\dir)"},
        LineRow{"EscapedBackslash", R"(K=\x5Cx41)", R"(\x41)"},
        LineRow{"NeverNul", R"(K=a\x00b)", R"(a\x00b)"}, LineRow{"OtherCase", "k=1", "(none)"},
        LineRow{"Commented", ";K=1", "(none)"}, LineRow{"HashIsNoComment", "#K=1", "(none)"}),
    [](const auto& row) { return row.param.name; });

TEST_F(IniDocumentTest, TakesAByteOrderMarkAndALastLineWithoutItsEnd) {
  EXPECT_EQ(ValueIn("\xEF\xBB\xBF[S]\r\nK=1"), "1");
  EXPECT_EQ(ValueIn("[S]\nK=" + std::string(100'000, 'x') + "\nL=2").size(), 100'000U);
  EXPECT_EQ(document.Find("S", "L")->value, "2");
}

TEST_F(IniDocumentTest, HashKeysAndBracketsInNamesAreOrdinary) {
  ASSERT_EQ(document.Parse("[A [x]]\nBoot Option #1=a\n#2=b\n[B]\t; comment ]\nK=1\n"), Status::Ok);
  EXPECT_EQ(document.Find("A [x]", "Boot Option #1")->value, "a");
  EXPECT_EQ(document.Find("A [x]", "#2")->value, "b");
  EXPECT_EQ(document.Find("B", "K")->value, "1");
  EXPECT_TRUE(document.IsWellFormed());
}

TEST_F(IniDocumentTest, MergesSectionsAndTheLastEqualKeyHolds) {
  EXPECT_EQ(ValueIn("[S]\nK=1\n[T]\nK=2\n[S]\nL=3\nK=4\n"), "4");
  EXPECT_EQ(document.Find("S", "L")->value, "3");
  EXPECT_EQ(document.Find("T", "K")->value, "2");
  ASSERT_EQ(document.Problems().size(), 2U);
  EXPECT_EQ(document.Problems()[0].kind, Kind::DuplicateSection);
  EXPECT_EQ(document.Problems()[0].line, 5U);
  EXPECT_EQ(document.Problems()[1].kind, Kind::DuplicateKey);
  EXPECT_EQ(document.Problems()[1].line, 7U);
  EXPECT_TRUE(document.IsWellFormed());
}

TEST_F(IniDocumentTest, NamesEveryLineThatIsNone) {
  ASSERT_EQ(document.Parse("K=0\n\n[S\nnonsense\n=1\n[S]\nK=1\n[]x\n"), Status::Ok);
  std::vector<std::uint32_t> badLines;
  for (const auto& problem : document.Problems()) {
    if (problem.kind == Kind::BadLine) badLines.push_back(problem.line);
  }
  EXPECT_THAT(badLines, ::testing::ElementsAre(3, 4, 5, 8));
  EXPECT_EQ(document.Problems()[0].kind, Kind::KeyOutsideSection);
  EXPECT_FALSE(document.IsWellFormed());
  EXPECT_EQ(document.Find("S", "K")->value, "1");
}

TEST_F(IniDocumentTest, RefusesWhatIsNoTextFile) {
  EXPECT_EQ(document.Parse(std::string_view("[S]\nK=\0", 7)), Status::HoldsNul);
  EXPECT_EQ(document.Load(PathOf("missing").c_str()), Status::CannotRead);
  EXPECT_EQ(document.Reason(), "No such file or directory");
  EXPECT_EQ(document.Load(PathOf("").c_str()), Status::CannotRead);
  ASSERT_EQ(mkfifo(PathOf("fifo").c_str(), 0600), 0);
  EXPECT_EQ(document.Load(PathOf("fifo").c_str()), Status::CannotRead);
  WriteText(PathOf("large"), "[S]\nK=1\n");
  ASSERT_EQ(truncate(PathOf("large").c_str(), IniDocument::kMaxBytes + 1), 0);
  EXPECT_EQ(document.Load(PathOf("large").c_str()), Status::TooLarge);
  EXPECT_FALSE(document.HasSection("S"));
}

TEST_F(IniDocumentTest, ALoadReplacesWhatWasThere) {
  WriteText(PathOf("x"), "[S]\nK=\\x41\n");
  EXPECT_EQ(ValueIn("[S]\nK=1\n[T]\n"), "1");
  ASSERT_EQ(document.Load(PathOf("x").c_str()), Status::Ok);
  EXPECT_EQ(document.Find("S", "K")->value, "A");
  EXPECT_FALSE(document.HasSection("T"));
  document.Load(PathOf("missing").c_str());
  EXPECT_EQ(document.Find("S", "K"), nullptr);
}

}  // namespace
}  // namespace Test
