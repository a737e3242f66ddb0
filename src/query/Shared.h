#pragma once

#include <algorithm>
#include <initializer_list>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Query {

/// A value that its copies share until one of them is changed.
///
/// A back end keeps a tree of thousands of nodes and hands out copies of them with every read,
/// which hardly anybody changes. Copies may be used in different threads, one object may not.
template <typename Value>
class Shared {
 public:
  Shared() = default;
  Shared(Value value)  // NOLINT(google-explicit-constructor): it is one
      : store_(value == Value() ? nullptr : std::make_shared<Value>(std::move(value))) {}

  [[nodiscard]] const Value& Get() const {
    static const Value none;
    return store_ == nullptr ? none : *store_;
  }
  operator const Value&() const { return Get(); }  // NOLINT(google-explicit-constructor)
  const Value* operator->() const { return &Get(); }

  /// The value, of this object alone, to be changed.
  [[nodiscard]] Value& Edit() {
    if (store_ == nullptr) {
      store_ = std::make_shared<Value>();
    } else if (store_.use_count() > 1) {
      store_ = std::make_shared<Value>(*store_);
    }
    return *store_;
  }

  /// True when both are copies of one value, which says so without looking at it.
  [[nodiscard]] bool IsCopyOf(const Shared& other) const { return store_ == other.store_; }
  bool operator==(const Shared& other) const {
    return store_ == other.store_ || Get() == other.Get();
  }
  bool operator==(const Value& other) const { return Get() == other; }

 private:
  std::shared_ptr<Value> store_;  ///< none for the value that a new one has
};

/// A container whose copies share it, and that looks like the container itself to whoever reads it.
template <typename Container>
class SharedContainer : public Shared<Container> {
 public:
  using value_type = typename Container::value_type;
  using size_type = typename Container::size_type;
  using difference_type = typename Container::difference_type;
  using reference = typename Container::const_reference;
  using const_reference = typename Container::const_reference;
  using iterator = typename Container::const_iterator;
  using const_iterator = typename Container::const_iterator;

  using Shared<Container>::Shared;

  [[nodiscard]] const_iterator begin() const { return this->Get().begin(); }
  [[nodiscard]] const_iterator end() const { return this->Get().end(); }
  [[nodiscard]] size_type size() const { return this->Get().size(); }
  [[nodiscard]] bool empty() const { return this->Get().empty(); }

  void clear() { *this = SharedContainer(); }
};

/// A list of texts. The only text of a list, which nearly every setting has, lies in the object
/// itself, so that whoever copies or reads a tree of them stays in the memory of its nodes; more
/// are shared by the copies.
class Texts {
 public:
  using value_type = std::string;
  using size_type = std::size_t;
  using iterator = const std::string*;
  using const_iterator = const std::string*;

  Texts() = default;
  Texts(std::initializer_list<std::string> texts) : Texts(std::vector(texts)) {}
  Texts(std::vector<std::string> texts) {  // NOLINT(google-explicit-constructor): it is one
    if (texts.size() == 1) {
      texts_ = std::move(texts.front());
    } else {
      texts_ = Several(std::move(texts));
    }
  }
  operator std::vector<std::string>() const {  // NOLINT(google-explicit-constructor): it is one
    return {begin(), end()};
  }

  [[nodiscard]] const_iterator begin() const { return View().data(); }
  [[nodiscard]] const_iterator end() const { return begin() + size(); }
  [[nodiscard]] size_type size() const { return View().size(); }
  [[nodiscard]] bool empty() const { return View().empty(); }
  [[nodiscard]] const std::string& front() const { return *begin(); }
  [[nodiscard]] const std::string& back() const { return View().back(); }
  const std::string& operator[](size_type index) const { return View()[index]; }
  /// \throws std::out_of_range
  [[nodiscard]] const std::string& at(size_type index) const {
    if (index >= size()) throw std::out_of_range("Query::Texts::at");
    return View()[index];
  }

  /// The list, of this object alone, to be changed.
  [[nodiscard]] std::vector<std::string>& Edit() {
    if (auto* one = std::get_if<std::string>(&texts_)) {
      std::vector<std::string> list;
      list.push_back(std::move(*one));
      texts_ = Several(std::move(list));
    }
    return std::get<Several>(texts_).Edit();
  }
  void push_back(std::string text) {
    if (empty()) {
      texts_ = std::move(text);
    } else {
      Edit().push_back(std::move(text));
    }
  }
  void clear() { texts_ = Several(); }

  bool operator==(const Texts& other) const { return std::ranges::equal(*this, other); }

 private:
  using Several = Shared<std::vector<std::string>>;

  [[nodiscard]] std::span<const std::string> View() const {
    if (const auto* one = std::get_if<std::string>(&texts_)) return {one, 1};
    return std::get<Several>(texts_).Get();
  }

  std::variant<Several, std::string> texts_;
};

/// A text that its copies share.
class Text : public SharedContainer<std::string> {
 public:
  using SharedContainer::SharedContainer;
  // NOLINTNEXTLINE(google-explicit-constructor): it is one
  Text(const char* text) : SharedContainer(std::string(text)) {}
  // NOLINTNEXTLINE(google-explicit-constructor): it is one
  operator std::string_view() const { return Get(); }
};

/// An ordered map of texts.
class TextMap : public SharedContainer<std::map<std::string, std::string>> {
 public:
  using Map = std::map<std::string, std::string>;
  using key_type = Map::key_type;
  using mapped_type = Map::mapped_type;

  using SharedContainer::SharedContainer;
  TextMap(std::initializer_list<value_type> entries) : SharedContainer(Map(entries)) {}

  [[nodiscard]] const_iterator find(const std::string& key) const { return Get().find(key); }
  [[nodiscard]] bool contains(const std::string& key) const { return Get().contains(key); }
  [[nodiscard]] const_iterator upper_bound(const std::string& key) const {
    return Get().upper_bound(key);
  }

  template <typename... Arguments>
  auto emplace(Arguments&&... arguments) {
    return Edit().emplace(std::forward<Arguments>(arguments)...);
  }
};

/// Gives maps that are the same one store: the lists of choices of a machine are few.
class TextMapPool {
 public:
  [[nodiscard]] const TextMap& Of(const TextMap& map) { return *maps_.insert(map).first; }

 private:
  struct Less {
    bool operator()(const TextMap& left, const TextMap& right) const {
      return left.Get() < right.Get();
    }
  };
  std::set<TextMap, Less> maps_;
};

}  // namespace Query
