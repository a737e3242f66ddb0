// Reads of single values, value lists, counts and sums, and the cache that they share.
#include <cstdlib>
#include <utility>

#include "common/ErrorManager.h"
#include "modules/save/Expansion.h"
#include "modules/save/SaveRestore.h"
#include "query/NodeTree.h"

namespace SDK {
namespace {

constexpr const char* kNoList = "ERROR";

/// The path under which the cache is asked for `path`: its first two tokens, the second without
/// its index, so that one read of a collection answers for everything below it. Alert destinations
/// lie a level deeper than that and are cached by their own paths.
std::string CacheKey(const std::string& path) {
  const std::vector<std::string> tokens = Common::XTokenizer(path, '/').TokenList();
  if (tokens.size() <= 1 || path.find("/ALERT/DESTINATION") != std::string::npos) return path;
  return "/" + tokens[0] + "/" + tokens[1].substr(0, tokens[1].rfind('['));
}

const _XNode* Lookup(const NodeMap& nodes, const std::string& path) {
  const auto node = nodes.find(path);
  return node == nodes.end() ? nullptr : &node->second;
}

}  // namespace

/// Finds the node at `path` through the cache, or null. A result that is not cached lands in
/// `uncached`, which the node then points into.
///
/// The cache is asked under the path's key but filled under the full path of a query. So it answers
/// below a collection that was read by its own path, and a read below any other is made again.
const _XNode* SaveRestore::FindCached(const std::string& path, OnMiss onMiss, NodeMap& uncached) {
  if (!readCacheEnabled) {
    ProcessXQuery(path, uncached);
    return Lookup(uncached, path);
  }
  const auto cached = readCache.find(CacheKey(path));
  if (cached == readCache.end()) {
    ProcessXQuery(path, uncached);
    return Lookup(readCache[path] = std::move(uncached), path);
  }
  const _XNode* node = Lookup(cached->second, path);
  if (node != nullptr || onMiss == OnMiss::Accept) return node;
  NodeMap widened = cached->second;
  ProcessXQuery(path, widened);
  return Lookup(readCache[path] = std::move(widened), path);
}

const NodeMap& SaveRestore::CachedResult(const std::string& path) const {
  static const NodeMap none;
  const auto cached = readCache.find(path);
  return cached == readCache.end() ? none : cached->second;
}

std::string SaveRestore::ExecuteGetQuery(const char* path) {
  NodeMap uncached;
  try {
    const _XNode* node = FindCached(path, OnMiss::AskAgain, uncached);
    if (node != nullptr && !node->values.empty()) return node->values.front();
  } catch (const ResultStatus&) {
    return {};  // a setting that the server lacks is an empty one
  }
  return {};
}

std::vector<std::string> SaveRestore::ExecuteBaseQuery(const char* path) {
  NodeMap uncached;
  try {
    const _XNode* node = FindCached(path, OnMiss::Accept, uncached);
    if (node != nullptr && !node->values.empty()) return node->values;
  } catch (const ResultStatus&) {
    return {kNoList};
  }
  return {kNoList};
}

std::string SaveRestore::ExecuteCountQuery(const char* path) {
  try {
    NodeMap results;
    ProcessXQuery(path, results);
    const _XNode* node = Lookup(readCache[path] = std::move(results), path);
    if (node != nullptr) return convertIntToString(static_cast<int>(node->values.size()));
  } catch (const ResultStatus& failure) {
    // A server that has stopped answering must not be saved as one that has nothing.
    if (failure.getval() == ErrorManager::Unreachable) throw ResultStatus(failure);
  }
  return {};
}

std::string SaveRestore::ExecuteCountQuery(const char* path, std::vector<std::string>& names) {
  NodeMap results;
  try {
    ProcessXQuery(path + std::string(Query::kChildrenSuffix), results);
  } catch (const ResultStatus&) {
    return {};
  }
  const _XNode* node = Lookup(results, path);
  if (node == nullptr) return {};
  names = node->values;
  return convertIntToString(static_cast<int>(names.size()));
}

std::string SaveRestore::ExecuteCalcQuery(const char* path) {
  const std::string query = path;
  const bool isBelowCollection = Common::XTokenizer(query, '/').TokenList().size() > 2;
  const std::vector<std::string> members =
      ExecuteBaseQuery(isBelowCollection ? "/BMC/LAN" : path);  // only LAN channels are summed over
  const bool hasSlot = query.find('[') != std::string::npos;
  unsigned sum = 0;  // unsigned: a sum that leaves 32 bits wraps
  for (const std::string& index : FindIntFromString(members)) {
    if (hasSlot && index.empty()) continue;  // an unfilled "[]" is not for the engine
    const std::string value = ExecuteGetQuery(Expansion::FillFirst(query, index).c_str());
    sum += static_cast<unsigned>(std::strtol(value.c_str(), nullptr, 10));
  }
  return convertIntToString(static_cast<int>(sum));
}

}  // namespace SDK
