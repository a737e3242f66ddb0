#include "ini/IniDocument.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "common/Text.h"
#include "common/WholeFile.h"
#include "ini/IniEscape.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t";

std::string_view Trim(std::string_view text) {
  return Common::Trimmed(text, kBlanks);
}

/// Where the comment of a key line or heading starts: the ";" directly behind a tab, or the one
/// that `text` starts with; `text.size()` without a comment.
std::size_t CommentStart(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first != std::string_view::npos && text[first] == ';') return first;
  const std::size_t behindTab = text.find("\t;");
  return behindTab == std::string_view::npos ? text.size() : behindTab + 1;
}

/// The first `size` bytes of `text`, less those of a character that would be cut.
std::string_view Beginning(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  const auto isInside = [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
  };
  constexpr std::size_t kLongestTail = 3;  // of a character in UTF-8
  std::size_t end = size;
  while (size - end < kLongestTail && isInside(text[end])) --end;
  return text.substr(0, isInside(text[end]) ? size : end);
}

}  // namespace

IniDocument::Status IniDocument::Load(const char* path) {
  Clear();
  const Common::WholeFileResult read = Common::ReadWholeFile(path, kMaxBytes, text_);
  using Result = Common::WholeFileResult::Status;
  if (read.status == Result::TooLarge) return Fail(Status::TooLarge, "Larger than 64 MiB");
  if (read.status != Result::Ok) return Fail(Status::CannotRead, read.reason);
  return Index();
}

IniDocument::Status IniDocument::Parse(std::string_view text) {
  Clear();
  text_.assign(text.begin(), text.end());
  return Index();
}

bool IniDocument::IsWellFormed() const {
  return status_ == Status::Ok && isWellFormed_;
}

bool IniDocument::HasSection(std::string_view section) const {
  return sectionIndex_.contains(section);
}

const IniDocument::Entry* IniDocument::Find(std::string_view section, std::string_view key) const {
  const auto place = sectionIndex_.find(section);
  if (place == sectionIndex_.end()) return nullptr;
  const auto entry = entryIndex_.find({place->second, key});
  return entry == entryIndex_.end() ? nullptr : &entries_[entry->second];
}

void IniDocument::Clear() {
  status_ = Status::Empty;
  reason_.clear();
  text_.clear();
  decoded_.clear();
  sections_.clear();
  entries_.clear();
  problems_.clear();
  problemsLeftOut_ = 0;
  isWellFormed_ = true;
  sectionIndex_.clear();
  entryIndex_.clear();
  headings_ = 0;
  current_ = 0;
}

IniDocument::Status IniDocument::Fail(Status status, std::string reason) {
  Clear();
  status_ = status;
  reason_ = std::move(reason);
  return status_;
}

IniDocument::Status IniDocument::Index() {
  if (text_.size() > kMaxBytes) return Fail(Status::TooLarge, "Larger than 64 MiB");
  // An empty text may have no data at all, which memchr does not take.
  if (!text_.empty() && std::memchr(text_.data(), 0, text_.size()) != nullptr) {
    return Fail(Status::HoldsNul, "It holds a NUL byte and is no text file");
  }
  static_assert(kMaxBytes < std::numeric_limits<std::uint32_t>::max(),
                "lines are counted in 32 bits");

  std::string_view rest(text_.data(), text_.size());
  if (rest.starts_with(kByteOrderMark)) rest.remove_prefix(kByteOrderMark.size());
  const auto lines = static_cast<std::size_t>(std::ranges::count(rest, '\n')) + 1;
  entries_.reserve(std::min(lines, kMaxLines));
  entryIndex_.reserve(std::min(lines, kMaxLines));
  for (std::uint32_t number = 1; !rest.empty(); ++number) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    std::string_view line = rest.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    AddLine(line, number);
    if (entries_.size() + headings_ > kMaxLines) {
      return Fail(Status::TooLarge, "More than 1,000,000 keys and sections");
    }
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  status_ = Status::Ok;
  return status_;
}

void IniDocument::AddLine(std::string_view line, std::uint32_t number) {
  const std::string_view content = Trim(line);
  if (content.empty() || content.front() == ';') return;
  if (content.front() == '[') return AddHeading(line, number);
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos || Trim(line.substr(0, equals)).empty()) {
    AddProblem(Problem::Kind::BadLine, number, line);
    return;
  }
  AddEntry(line, equals, number);
}

void IniDocument::AddHeading(std::string_view line, std::uint32_t number) {
  const std::string_view heading = Trim(line.substr(0, CommentStart(line)));
  if (heading.size() < 2 || heading.back() != ']') {
    AddProblem(Problem::Kind::BadLine, number, line);
    return;
  }
  ++headings_;
  EnterSection(Decoded(heading.substr(1, heading.size() - 2)), number);
}

void IniDocument::EnterSection(std::string_view name, std::uint32_t number) {
  const auto next = static_cast<std::uint32_t>(sections_.size());
  const auto [place, isNew] = sectionIndex_.try_emplace(name, next);
  current_ = place->second;
  if (isNew) {
    sections_.push_back({name, number});
  } else {
    AddProblem(Problem::Kind::DuplicateSection, number, name);
  }
}

void IniDocument::AddEntry(std::string_view line, std::size_t equals, std::uint32_t number) {
  const std::string_view key = Decoded(Trim(line.substr(0, equals)));
  const std::string_view behind = line.substr(equals + 1);
  const std::size_t comment = CommentStart(behind);
  if (sections_.empty()) EnterSection({}, number);
  if (sections_[current_].name.empty()) {
    AddProblem(Problem::Kind::KeyOutsideSection, number, key);
  }
  const auto [place, isNew] =
      entryIndex_.insert_or_assign({current_, key}, static_cast<std::uint32_t>(entries_.size()));
  if (!isNew) AddProblem(Problem::Kind::DuplicateKey, number, key);
  entries_.push_back(
      {current_, number, key, Decoded(Trim(behind.substr(0, comment))), behind.substr(comment)});
}

void IniDocument::AddProblem(Problem::Kind kind, std::uint32_t number, std::string_view text) {
  if (kind == Problem::Kind::BadLine || kind == Problem::Kind::KeyOutsideSection) {
    isWellFormed_ = false;
  }
  if (problems_.size() == kMaxProblems) {
    ++problemsLeftOut_;
    return;
  }
  const std::string_view beginning = Beginning(text, kMaxProblemText);
  problems_.push_back({kind, number, beginning, beginning.size() < text.size()});
}

std::string_view IniDocument::Decoded(std::string_view raw) {
  if (!Ini::IsEscaped(raw)) return raw;
  return decoded_.emplace_back(Ini::Unescape(raw));
}
