#include "providers/host/Modifiers.h"

#include <algorithm>
#include <array>

namespace Host {
namespace {

/// The words in front of the colon.
struct Word {
  std::string_view text;
  Term::Effect effect;
  bool isNegated;
};
constexpr auto kWords = std::to_array<Word>({
    {"ReadOnlyIf", Term::Effect::ReadOnly, false},
    {"ReadOnlyIfNot", Term::Effect::ReadOnly, true},
    {"SuppressIf", Term::Effect::Suppress, false},
    {"SuppressIfNot", Term::Effect::Suppress, true},
    {"ForceIf", Term::Effect::Force, false},
    {"ForceIfNot", Term::Effect::Force, true},
});

/// `text` without what drivers put between terms.
std::string_view Stripped(std::string_view text) {
  constexpr std::string_view kBetween = " ;,";
  text.remove_prefix(std::min(text.find_first_not_of(kBetween), text.size()));
  return text.substr(0, text.find_last_not_of(kBetween) + 1);
}

/// The term of "[inside]" behind `before`; nothing when it is none.
std::optional<Term> TermOf(std::string_view before, std::string_view inside) {
  const std::size_t colon = inside.find(':');
  const std::size_t equals = inside.find('=', colon == std::string_view::npos ? 0 : colon);
  if (colon == std::string_view::npos || equals == std::string_view::npos) return std::nullopt;
  const auto* word = std::ranges::find(kWords, inside.substr(0, colon), &Word::text);
  if (word == kWords.end() || (word->effect == Term::Effect::Force) == before.empty()) {
    return std::nullopt;
  }
  return Term{word->effect,
              word->isNegated,
              std::string(inside.substr(colon + 1, equals - colon - 1)),
              std::string(inside.substr(equals + 1)),
              std::string(before),
              std::string(before) + "[" + std::string(inside) + "]"};
}

}  // namespace

std::vector<Term> TermsIn(std::string_view text, std::string& unread) {
  std::vector<Term> terms;
  while (!Stripped(text).empty()) {
    const std::size_t open = std::min(text.find('['), text.size());
    const std::size_t close = std::min(text.find(']', open), text.size());
    const std::size_t end = std::min(close + 1, text.size());
    const std::string_view before = Stripped(text.substr(0, open));
    const std::optional<Term> term = close == text.size()
                                         ? std::nullopt
                                         : TermOf(before, text.substr(open + 1, close - open - 1));
    if (term) {
      terms.push_back(*term);
    } else {
      unread.append(unread.empty() ? "" : " ").append(Stripped(text.substr(0, end)));
    }
    text.remove_prefix(end);
  }
  return terms;
}

std::optional<bool> Holds(const Term& term, const ValueOf& valueOf) {
  const std::optional<std::string> value = valueOf(term.attribute);
  if (!value) return std::nullopt;
  return (*value == term.value) != term.isNegated;
}

std::string Objection(const Term& term, const std::string& value) {
  const std::string why =
      " while " + term.attribute + (term.isNegated ? " is not " : " is ") + term.value;
  switch (term.effect) {
    case Term::Effect::ReadOnly:
      return "it is read-only" + why;
    case Term::Effect::Suppress:
      return "it has no effect" + why;
    case Term::Effect::Force:
      break;
  }
  return value == term.forced ? "" : "the firmware makes it " + term.forced + why;
}

}  // namespace Host
