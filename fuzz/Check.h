#pragma once

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "common/ResultStatus.h"
#include "plan/Configuration.h"
#include "plan/Failure.h"
#include "query/NodeTree.h"
#include "query/QueryProvider.h"

/// What the fuzz targets have in common.
namespace Fuzz {

/// Ends the process, which is a finding, unless `holds`.
inline void Require(bool holds, const std::string& what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what.c_str());
  std::abort();
}

/// Does something that may say no, in one of the ways that the tool turns into a message. Anything
/// else that is thrown ends the process. \return true when it was done.
template <typename Step>
bool Try(Step step) {
  try {
    step();
    return true;
  } catch (const Planning::Failure&) {
  } catch (const ResultStatus&) {
  }
  return false;
}

/// A server that is a tree, and takes whatever is written without keeping it.
class TreeServer final : public SDK::QueryProvider {
 public:
  explicit TreeServer(NodeMap tree, std::string platform = {})
      : tree_(std::move(tree)), platform_(std::move(platform)) {}

  void Read(const std::string& path, NodeMap& results) override {
    Query::ReadNodes(tree_, path, results);
  }
  void Write(const SDK::SettingMap& /*settings*/, bool /*isBios*/, bool /*reserved*/) override {}
  void WriteAuthorised(const SDK::SettingMap& /*settings*/, const std::string& /*pw*/) override {}
  void WriteGroup(const std::string& /*path*/, const SDK::SettingMap& /*settings*/) override {}
  std::string PlatformName() override { return platform_; }

 private:
  NodeMap tree_;
  std::string platform_;
};

/// What holds for every configuration: written as a text file it reads as it was. No text of a file
/// or a server starts a line, a key or a section of its own.
void RequireSameWhenWritten(const Planning::Configuration& content);

/// Writes what a BMC has, and with each value another one that its setting takes.
void WriteBack(SDK::QueryProvider& bmc);

/// Saves a server and checks what comes of it.
void SaveAll(const std::shared_ptr<SDK::QueryProvider>& server);

}  // namespace Fuzz
