// The module's only way to the query engine: reads, and the flushes of pending writes. What the
// engine throws passes unchanged.
#include <utility>

#include "modules/save/SaveRestore.h"
#include "query/XDirector.h"

namespace SDK {
namespace {

constexpr const char* kBmcToken = "BMC";

bool IsBmcPath(const Common::XEngine& parser, const std::string& path) {
  const std::vector<std::string> tokens = parser.ParseXQuery(path).TokenList();
  return !tokens.empty() && tokens.front() == kBmcToken;
}

}  // namespace

void SaveRestore::ProcessXQuery(std::string path, NodeMap& results) {
  if (IsBmcPath(xEngine, path)) {
    bmcModule.ProcessXQuery(path, results);
  } else {
    XDirectorImpl::CreateInstance()->ProcessXQuery(path, results);
  }
}

void SaveRestore::FillBiosMapSetQuery(std::string path, std::string value) {
  biosSetMap.insert_or_assign(std::move(path), std::move(value));
}

void SaveRestore::ExecuteBiosSetMapQuery() {
  XDirectorImpl* director = XDirectorImpl::CreateInstance();
  if (passwordCommitPlatform) {
    director->ProcessXQuery(biosSetMap, biosPassword);
  } else {
    director->ProcessXQuery(biosSetMap, true, false);
  }
  biosSetMap.clear();
}

void SaveRestore::ExecuteBmcQuery() {
  // The director, not the BMC module: only it takes a batch.
  XDirectorImpl::CreateInstance()->ProcessXQuery(bmcSetMap, false, false);
  bmcSetMap.clear();
}

void SaveRestore::ExecuteSetMapQuery(std::string path,
                                     std::map<std::string, std::string> settings) {
  if (IsBmcPath(xEngine, path)) {
    bmcModule.ProcessXQuery(path, settings);
  } else {
    XDirectorImpl::CreateInstance()->ProcessXQuery({{path, settings}});
  }
}

}  // namespace SDK
