// Fetching ahead. A walk along the links is run to see what it needs: it ends at the first resource
// that is not there, which is then fetched, while other walks do the same. So the resources are
// found by the code that reads them later, and by no list beside it.
#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "common/ResultStatus.h"
#include "providers/redfish/Service.h"

namespace Redfish {
namespace {

/// Ends a walk that is looking.
struct NotThere {};

}  // namespace

void Service::Forget(const std::string& path) {
  resources_.erase(path);
  resources_.erase(path + kExpand);
  expected_.clear();
  failures_.clear();
}

void Service::ForgetAll() {
  resources_.clear();
  expected_.clear();
  failures_.clear();
}

/// Before a resource is fetched: ends a walk that is looking, begins what is expected, and fails
/// where that has failed already.
void Service::LookAround(const std::string& path) {
  if (isLooking_) {
    wanted_.push_back(path);
    throw NotThere();
  }
  if (!expected_.empty() && session_.IsSlow()) FetchAhead(std::exchange(expected_, {}));
  const auto failure = failures_.find(path);
  if (failure == failures_.end()) return;
  std::rethrow_exception(failures_.extract(failure).mapped());  // asked once more, it is fetched
}

void Service::FetchTogether(const std::vector<std::string>& paths) {
  std::vector<std::string> missing;
  // What has failed already is not waited for twice.
  std::ranges::copy_if(paths, std::back_inserter(missing), [this](const std::string& path) {
    return !resources_.contains(path) && !failures_.contains(path);
  });
  if (missing.empty()) return;
  if (isLooking_) {
    std::ranges::copy(missing, std::back_inserter(wanted_));
    throw NotThere();
  }
  if (missing.size() > 1 && session_.IsSlow()) FetchAhead({[&] { FetchTogether(paths); }});
}

/// Runs the walks to see what they need, and drops those that have all.
void Service::Look(std::vector<Walk>& walks) {
  isLooking_ = true;
  std::erase_if(walks, [](const Walk& walk) {
    try {
      walk();
    } catch (const NotThere&) {
      return false;
    } catch (const ResultStatus&) {  // it comes again where the walk is gone
    }
    return true;
  });
  isLooking_ = false;
}

void Service::FetchAhead(std::vector<Walk> walks) {
  std::set<std::string> asked;
  std::size_t sent = 0;
  Look(walks);
  const auto next = [&] {
    while (sent < wanted_.size()) {
      std::string path = wanted_[sent++];
      if (asked.insert(path).second) return path;
    }
    return std::string();
  };
  const auto take = [&](const std::string& path, HttpOutcome outcome) {
    try {
      if (outcome.failure) std::rethrow_exception(outcome.failure);
      Keep(path, outcome.answer);
    } catch (const ResultStatus&) {
      failures_[path] = std::current_exception();
      return;
    }
    Look(walks);
  };
  session_.Exchange(HttpFlow{{}, next, take});
  wanted_.clear();
}

}  // namespace Redfish
