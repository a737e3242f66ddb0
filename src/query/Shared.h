#pragma once

#include <initializer_list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
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

/// A list of texts whose copies share it. Looks like the list itself.
class Texts : public Shared<std::vector<std::string>> {
 public:
  using List = std::vector<std::string>;
  using value_type = List::value_type;
  using size_type = List::size_type;
  using difference_type = List::difference_type;
  using reference = List::reference;
  using const_reference = List::const_reference;
  using iterator = List::iterator;
  using const_iterator = List::const_iterator;

  Texts() = default;
  Texts(List list) : Shared(std::move(list)) {}  // NOLINT(google-explicit-constructor)
  Texts(std::initializer_list<std::string> texts) : Shared(List(texts)) {}

  [[nodiscard]] const_iterator begin() const { return Get().begin(); }
  [[nodiscard]] const_iterator end() const { return Get().end(); }
  [[nodiscard]] size_type size() const { return Get().size(); }
  [[nodiscard]] bool empty() const { return Get().empty(); }
  [[nodiscard]] const std::string& front() const { return Get().front(); }
  [[nodiscard]] const std::string& back() const { return Get().back(); }
  [[nodiscard]] const std::string& at(size_type index) const { return Get().at(index); }
  const std::string& operator[](size_type index) const { return Get()[index]; }

  void push_back(std::string text) { Edit().push_back(std::move(text)); }
  void clear() { *this = Texts(); }
};

/// An ordered map of texts whose copies share it. Looks like the map itself.
class TextMap : public Shared<std::map<std::string, std::string>> {
 public:
  using Map = std::map<std::string, std::string>;
  using key_type = Map::key_type;
  using mapped_type = Map::mapped_type;
  using value_type = Map::value_type;
  using size_type = Map::size_type;
  using difference_type = Map::difference_type;
  using reference = Map::const_reference;
  using const_reference = Map::const_reference;
  using iterator = Map::const_iterator;
  using const_iterator = Map::const_iterator;

  TextMap() = default;
  TextMap(Map map) : Shared(std::move(map)) {}  // NOLINT(google-explicit-constructor)
  TextMap(std::initializer_list<value_type> entries) : Shared(Map(entries)) {}

  [[nodiscard]] const_iterator begin() const { return Get().begin(); }
  [[nodiscard]] const_iterator end() const { return Get().end(); }
  [[nodiscard]] size_type size() const { return Get().size(); }
  [[nodiscard]] bool empty() const { return Get().empty(); }
  [[nodiscard]] const_iterator find(const std::string& key) const { return Get().find(key); }
  [[nodiscard]] bool contains(const std::string& key) const { return Get().contains(key); }
  [[nodiscard]] const_iterator upper_bound(const std::string& key) const {
    return Get().upper_bound(key);
  }

  template <typename... Arguments>
  auto emplace(Arguments&&... arguments) {
    return Edit().emplace(std::forward<Arguments>(arguments)...);
  }
  void clear() { *this = TextMap(); }
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
