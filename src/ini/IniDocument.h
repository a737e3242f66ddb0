#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// One INI file, parsed once into an index.
///
/// The form of a line:
///
///     [BIOS::Main]                              a section, until the next one
///     Quiet Boot=1<tab>;Options: Disabled=0: Enabled=1
///     ; a comment
///
/// - Lines end in LF or CRLF and are of any length; a UTF-8 byte order mark is skipped.
/// - Blanks around a key and a value are not part of them. Section and key compare byte by byte.
/// - A comment starts at a ";" directly behind a tab, or at the very start of the value. A whole
///   line is a comment only when it begins with ";" ("#" begins a key: "# of cores").
/// - `\xNN` stands for the byte NN in sections, keys and values (ini/IniEscape.h).
/// - Sections of one name are one section; of equal keys in it the last one holds.
///
/// Views that a document hands out are valid until it is loaded again or destroyed.
class IniDocument {
 public:
  /// How the last `Load` or `Parse` went. Only an Ok document has content.
  enum class Status {
    Empty,       ///< nothing loaded yet
    Ok,          ///< loaded; there may still be `Problems`
    CannotRead,  ///< not there, not readable, or not a regular file
    TooLarge,    ///< more than `kMaxBytes` or `kMaxLines`
    HoldsNul,    ///< a NUL byte: not a text file
  };

  /// Larger files are refused: no configuration comes near it, and a wrong file name might.
  static constexpr std::size_t kMaxBytes = std::size_t{64} * 1024 * 1024;

  /// The same for more key lines and headings than that: each takes memory beside its bytes.
  static constexpr std::size_t kMaxLines = 1'000'000;

  /// Of more problems than that only the first are kept, and of their texts only the beginning.
  static constexpr std::size_t kMaxProblems = 1'000;
  static constexpr std::size_t kMaxProblemText = 80;

  /// A key line.
  struct Entry {
    std::uint32_t section;     ///< index into `Sections()`
    std::uint32_t line;        ///< 1-based
    std::string_view key;      ///< decoded
    std::string_view value;    ///< decoded
    std::string_view comment;  ///< from its ";" on, as it stands in the file; empty without one
  };

  struct Section {
    std::string_view name;  ///< decoded, without the brackets; "" holds keys before any section
    std::uint32_t line;     ///< of its first heading, 1-based
  };

  /// Something a person should look at; reading goes on.
  struct Problem {
    enum class Kind { BadLine, KeyOutsideSection, DuplicateSection, DuplicateKey };
    Kind kind;
    std::uint32_t line;     ///< 1-based
    std::string_view text;  ///< the line, the section or the key it is about
    bool isCut;             ///< the text is the beginning of a longer one
  };

  IniDocument() = default;
  IniDocument(const IniDocument&) = delete;  // its views point into itself
  IniDocument& operator=(const IniDocument&) = delete;

  /// Reads and parses the regular file at `path`, replacing what was there. Never throws for what
  /// is in the file; a failure leaves the document without content.
  Status Load(const char* path);

  /// Parses a text, replacing what was there.
  Status Parse(std::string_view text);

  [[nodiscard]] Status GetStatus() const { return status_; }

  /// Why the status is not Ok, as a sentence part ("No such file or directory"); empty when it is.
  [[nodiscard]] const std::string& Reason() const { return reason_; }

  /// True when the lines are all well formed and stand in a section: duplicates are allowed.
  [[nodiscard]] bool IsWellFormed() const;

  [[nodiscard]] bool HasSection(std::string_view section) const;

  /// The entry that holds for `key`, or null.
  [[nodiscard]] const Entry* Find(std::string_view section, std::string_view key) const;

  /// In the order of the file, duplicates included.
  [[nodiscard]] const std::vector<Entry>& Entries() const { return entries_; }
  [[nodiscard]] const std::vector<Section>& Sections() const { return sections_; }
  [[nodiscard]] const std::vector<Problem>& Problems() const { return problems_; }
  /// How many more problems there are.
  [[nodiscard]] std::size_t ProblemsLeftOut() const { return problemsLeftOut_; }

 private:
  struct EntryName {
    std::uint32_t section;
    std::string_view key;
    bool operator==(const EntryName&) const = default;
  };
  struct EntryNameHash {
    std::size_t operator()(const EntryName& name) const {
      constexpr std::size_t kGoldenRatio = 0x9E3779B97F4A7C15U;  // spreads small section numbers
      return std::hash<std::string_view>{}(name.key) ^ (name.section * kGoldenRatio);
    }
  };

  void Clear();
  Status Fail(Status status, std::string reason);
  Status Index();
  void AddLine(std::string_view line, std::uint32_t number);
  void AddHeading(std::string_view line, std::uint32_t number);
  void AddEntry(std::string_view line, std::size_t equals, std::uint32_t number);
  void EnterSection(std::string_view name, std::uint32_t number);
  void AddProblem(Problem::Kind kind, std::uint32_t number, std::string_view text);
  std::string_view Decoded(std::string_view raw);

  Status status_ = Status::Empty;
  std::string reason_;
  std::vector<char> text_;           // what the views point into
  std::deque<std::string> decoded_;  // and those texts that differ from the file's
  std::vector<Section> sections_;
  std::vector<Entry> entries_;
  std::vector<Problem> problems_;
  std::size_t problemsLeftOut_ = 0;
  bool isWellFormed_ = true;
  std::unordered_map<std::string_view, std::uint32_t> sectionIndex_;
  std::unordered_map<EntryName, std::uint32_t, EntryNameHash> entryIndex_;
  std::size_t headings_ = 0;   // all of them, also of a section that has had one
  std::uint32_t current_ = 0;  // section that the next key belongs to; sections_.size() when none
};
