#pragma once

#include <string>
#include <vector>

#include "plan/Layers.h"
#include "plan/Plan.h"

namespace Planning {

/// A plan that is kept in a file, to be carried out later just as it was shown: what is wanted, and
/// all that the plan has found, so that it can be told whether that still holds. The file is a JSON
/// document that ends with the digest of the rest. It holds no more than a save does.
struct KeptPlan {
  std::string version;            ///< of the tool
  std::string target;             ///< the server that it is for
  std::string name;               ///< what is wanted, as people call it
  std::vector<SourceFile> files;  ///< what it is from
  std::vector<Setting> firmware;  ///< [SYSTEM] of the server
  Configuration wanted;           ///< without [SYSTEM]
  std::vector<Change> changes;    ///< what was shown
  bool keepsGoing = false;        ///< as in Request
  bool ignoresUnknown = false;
};

/// What of `plan`, which is for `target`, is kept.
[[nodiscard]] KeptPlan KeptPlanOf(const Plan& plan, const std::string& target,
                                  const std::string& version);

/// The document of a plan. \throws Failure  a value is no text of JSON.
[[nodiscard]] std::string PlanDocument(const KeptPlan& kept);

/// Reads the document at `path`. \throws Failure  it is none, or not what was written.
[[nodiscard]] KeptPlan ReadPlan(const std::string& path);

/// The request for what a plan, kept at `path`, wants of a server in `state`.
[[nodiscard]] LaidRequest RequestOfPlan(const KeptPlan& kept, const std::string& path,
                                        const State& state);

/// What has become different since a plan was kept, a sentence each: the server, its firmware, the
/// files, the values that the plan is about. `now` is the plan for the same as things stand.
[[nodiscard]] std::vector<std::string> DifferencesSince(const KeptPlan& kept, const Plan& now,
                                                        const std::string& target);

}  // namespace Planning
