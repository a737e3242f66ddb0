#include "ini/IniDocument.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/TestEngine.h"

namespace Test {
namespace {

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
}

/// A text, the problems in it ("bad" or "out", "section", "key" with the line), and whether the
/// lines are well formed.
struct ProblemRow {
  const char* text;
  const char* problems;
  bool isWellFormed;
};

TEST_F(IniDocumentTest, NamesWhatAPersonShouldLookAt) {
  constexpr const char* kNames[] = {"bad", "out", "section", "key"};
  for (const auto& [text, problems, isWellFormed] :
       {ProblemRow{"[S]\nK=1\n[T]\nK=2\n[S]\nL=3\nK=4\n", "section5 key7 ", true},
        {"K=0\n\n[S\nnonsense\n=4\n[S]\nK=4\nL=3\n[]x\n", "out1 bad3 bad4 bad5 bad9 ", false},
        {"[S]\nL=3\nK=4\n", "", true}}) {
    EXPECT_EQ(ValueIn(text), "4");
    EXPECT_EQ(document.Find("S", "L")->value, "3");
    std::string found;
    for (const auto& problem : document.Problems()) {
      found += kNames[static_cast<int>(problem.kind)] + std::to_string(problem.line) + " ";
    }
    EXPECT_EQ(found, problems);
    EXPECT_EQ(document.IsWellFormed(), isWellFormed);
  }
}

TEST_F(IniDocumentTest, BadLinesCostBoundedMemory) {
  const std::string longLine = std::string(79, 'x') + "\xC3\xA9" + std::string(100, 'y');
  std::string text = "[S]\n" + longLine + "\n";
  for (std::size_t line = 0; line < 2'000'000; ++line) text += "x\n";
  ASSERT_EQ(document.Parse(text + "K=1\n"), Status::Ok);
  EXPECT_FALSE(document.IsWellFormed());
  EXPECT_EQ(document.Find("S", "K")->line, 2'000'003U);
  EXPECT_EQ(document.Problems().size(), 1'000U);
  EXPECT_EQ(document.ProblemsLeftOut(), 1'999'001U);
  EXPECT_EQ(document.Problems()[0].text, std::string(79, 'x'));  // no half character
  EXPECT_TRUE(document.Problems()[0].isCut && !document.Problems()[1].isCut);
  EXPECT_LE(document.Entries().capacity(), IniDocument::kMaxLines);
  ASSERT_EQ(document.Parse("[S]\n"), Status::Ok);
  EXPECT_TRUE(document.IsWellFormed() && document.ProblemsLeftOut() == 0);
  text = "[S]\n";
  for (std::size_t line = 1; line < IniDocument::kMaxLines; ++line) text += "K=\n";
  EXPECT_EQ(document.Parse(text), Status::Ok);
  EXPECT_EQ(document.Parse(text + "[S]\n"), Status::TooLarge);
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
