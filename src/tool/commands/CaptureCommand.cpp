#include "tool/commands/CaptureCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "common/AtomicFile.h"
#include "common/ErrorManager.h"
#include "modules/save/SectionCatalogue.h"
#include "plan/Configuration.h"
#include "plan/ForwardingProvider.h"
#include "plan/State.h"
#include "providers/machine/MachineFile.h"
#include "providers/machine/MachineProvider.h"
#include "query/NodeTree.h"
#include "query/XDirector.h"
#include "tool/Destination.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/terminal/Interrupt.h"
#include "tool/terminal/Progress.h"

namespace Tool {
namespace {

/// Nodes whose value is a password, by their last component. Their values are left out.
constexpr auto kSecrets = std::to_array<std::string_view>({"AdminPw", "UserPw", "PASSWORD"});

/// What a back end may answer for although the root of its tree does not lead there.
constexpr auto kOrders = std::to_array<const char*>({"/BIOS/BootOrder", "/BMC/BOOTORDER"});

/// What a target has answered.
struct Answers {
  NodeMap nodes;
  NodeMap listings;  ///< nodes as lists of children: only a part of them
};

/// Passes reads on, and keeps every node that they yield.
class KeepingProvider final : public Planning::ForwardingProvider {
 public:
  KeepingProvider(std::shared_ptr<SDK::QueryProvider> inner, Answers& answers)
      : ForwardingProvider(std::move(inner)), answers_(answers) {}

  void Read(const std::string& path, NodeMap& results) override {
    NodeMap answer;
    ForwardingProvider::Read(path, answer);
    NodeMap& kept = path.ends_with(Query::kChildrenSuffix) ? answers_.listings : answers_.nodes;
    kept.insert(answer.begin(), answer.end());
    results.merge(answer);
  }
  void Write(const SDK::SettingMap& /*settings*/, bool /*isBios*/, bool /*reserved*/) override {
    RefuseWrite("a batch");
  }
  void WriteAuthorised(const SDK::SettingMap& /*settings*/,
                       const std::string& /*password*/) override {
    RefuseWrite("a batch");
  }
  void WriteGroup(const std::string& path, const SDK::SettingMap& /*settings*/) override {
    RefuseWrite(path);
  }

 private:
  [[noreturn]] static void RefuseWrite(const std::string& path) {
    ErrorManager::Raise(ErrorManager::NoSuchForm, "A capture", path);
  }

  Answers& answers_;
};

/// Reads `path`; what the target does not have is no failure.
void TryRead(const std::string& path) {
  NodeMap nodes;
  try {
    SDK::XDirectorImpl::CreateInstance()->ProcessXQuery(path, nodes);
  } catch (const ResultStatus&) {
    return;  // a target that says nothing is found out by Server
  }
}

/// The paths to read for everything to be seen: the trees, and all nodes on the way to what a save
/// asks for, since a back end may find its nodes by asking for them.
std::set<std::string> PlacesToRead(const Planning::Mounts& mounts) {
  std::set<std::string> places(kOrders.begin(), kOrders.end());
  for (const auto& [tree, mount] : mounts) places.insert("/" + tree);
  for (const SDK::CatalogueSection& section : SDK::CatalogueTable()) {
    for (const SDK::CatalogueRow& row : section.rows) {
      std::string place = std::string(row.query).substr(0, std::string_view(row.query).find('['));
      for (; !place.empty(); place.resize(place.rfind('/'))) places.insert(place);
    }
  }
  return places;
}

/// The paths that the values of `nodes` name and that are not among them.
std::set<std::string> OpenLinks(const NodeMap& nodes) {
  std::set<std::string> links;
  for (const auto& [path, node] : nodes) {
    for (const std::string& value : node.values) {
      if (value.starts_with('/') && !nodes.contains(value)) links.insert(value);
    }
  }
  return links;
}

void ReadEverything(const Planning::Mounts& mounts, const NodeMap& kept) {
  std::set<std::string> asked;
  std::set<std::string> places = PlacesToRead(mounts);
  while (!places.empty()) {
    for (const std::string& place : places) {
      if (asked.insert(place).second) TryRead(place);
    }
    places = OpenLinks(kept);
    std::erase_if(places, [&](const std::string& place) { return asked.contains(place); });
  }
}

/// Gives nodes the children that the target lists for them and that they do not name themselves.
void AddListings(Answers& answers) {
  for (const auto& [path, listing] : answers.listings) {
    const auto [node, isNew] = answers.nodes.try_emplace(path, listing);
    if (!isNew && node->second.values.empty()) node->second.values = listing.values;
  }
}

/// Takes out what must not leave the target, and refuses what a machine file cannot hold.
void Clean(NodeMap& nodes) {
  for (auto& [path, node] : nodes) {
    const std::string_view last = std::string_view(path).substr(path.rfind('/') + 1);
    if (std::ranges::find(kSecrets, last) != kSecrets.end()) node.values.clear();
    std::vector<std::string> texts = node.values;
    texts.push_back(path);
    for (const auto& [value, text] : node.options) texts.insert(texts.end(), {value, text});
    if (!std::ranges::all_of(texts, Machine::IsRenderable)) {
      throw ToolError(ExitFailed, "a text of " + path +
                                      " is not valid UTF-8, and a machine file cannot hold it; "
                                      "nothing was written");
    }
  }
}

/// The first thing that a save of `one` writes and one of `other` does not; empty when there is
/// none.
std::string FirstDifference(const Planning::Configuration& one,
                            const Planning::Configuration& other) {
  for (const std::string& section : one.Sections()) {
    if (!other.HasSection(section)) return "[" + section + "]";
  }
  for (const Planning::Setting& setting : one.Settings()) {
    const Planning::Setting* same = other.Find(setting.section, setting.key);
    if (same == nullptr || same->value != setting.value || same->comment != setting.comment) {
      return setting.Name();
    }
  }
  return {};
}

/// Makes sure that the machine file at `file` is what a save finds at the target.
void CheckCapture(const std::string& file, const Planning::Configuration& ofTarget) {
  Planning::MountTarget(Planning::AllTrees(std::make_shared<Machine::MachineProvider>(file)));
  const Planning::Configuration ofFile = Planning::ConfigurationOfTarget(Planning::ModeAll);
  SDK::XDirectorImpl::CreateInstance()->UnmountAll();
  std::string difference = FirstDifference(ofTarget, ofFile);
  if (difference.empty()) difference = FirstDifference(ofFile, ofTarget);
  if (difference.empty()) return;
  throw ToolError(ExitFailed, difference +
                                  " is not the same in the target and in what was captured of it; "
                                  "the target may have changed meanwhile, try again. Nothing was "
                                  "written");
}

/// A capture of a simulated server into its own file would take its password and limits away.
void RefuseOwnTarget(const CaptureRequest& request) {
  constexpr std::string_view kMachine = "machine:";
  for (const std::string& target : request.targets) {
    std::error_code error;
    if (!target.starts_with(kMachine) ||
        !std::filesystem::equivalent(target.substr(kMachine.size()), request.file, error)) {
      continue;
    }
    throw ToolError(ExitUsage, "\"" + request.file + "\" is the target itself");
  }
}

/// True when the target itself has told the value of some setting.
bool HasSettings(const Planning::Configuration& saved, const NodeMap& nodes) {
  return std::ranges::any_of(saved.Settings(), [&](const Planning::Setting& setting) {
    return setting.section != "SYSTEM" && nodes.contains(setting.path);
  });
}

}  // namespace

void RunCapture(const CaptureRequest& request, const Messages& messages) {
  CheckReplaceable(request.file, request.overwrite);
  RefuseOwnTarget(request);
  Common::AtomicFile file(request.file);
  Machine::MachineImage image;
  Answers answers;
  Planning::Configuration saved;
  unsigned queries = 0;
  {
    Progress progress(messages);
    const Planning::Mounts kept =
        Wrapped(request.openTarget(), [&](const std::shared_ptr<SDK::QueryProvider>& provider) {
          return std::make_shared<KeepingProvider>(provider, answers);
        });
    const Planning::Server server(kept, Watching(messages, &progress));
    for (const auto& [tree, mount] : kept) {
      if (mount.refusal) throw ResultStatus(*mount.refusal);  // a part must not pass for the whole
    }
    progress.Begin("reading the target");
    image.platform = SDK::XDirectorImpl::CreateInstance()->PlatformName();
    saved = PresentOfWhatIsThere(server, Planning::ModeAll);
    progress.Begin("reading everything else");
    ReadEverything(server.Providers(), answers.nodes);
    server.ThrowIfSilent();
    queries = server.Queries();
  }
  AddListings(answers);
  Clean(answers.nodes);
  image.nodes = std::move(answers.nodes);
  file.Write(Machine::RenderMachine(image));
  CheckCapture(file.TemporaryPath(), saved);
  if (!HasSettings(saved, image.nodes)) {
    messages.Warning("the target shows no setting that a save could take");
  }
  ThrowIfInterrupted();
  file.Commit(request.overwrite ? Common::AtomicFile::Existing::Replace
                                : Common::AtomicFile::Existing::Keep);
  messages.Result("Captured " + request.file + ": " + std::to_string(image.nodes.size()) +
                  " nodes, " + std::to_string(queries) + " queries.");
}

void AddCapture(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<CaptureRequest>();
  AddFile(command, request->file, "The machine file to write");
  command.add_flag("--overwrite", request->overwrite, "Replace FILE when it exists");
  command.footer(
      "For rehearsals, tests and bug reports: --target machine:FILE then reads like the\n"
      "target. Passwords are not kept. The file is written whole or not at all,\n"
      "readable by its owner alone.\n\n"
      "Example:\n"
      "  saverestore --target local machine capture server.json\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      request->targets = globals.targets.Names();
      RunCapture(*request, messages);
      return int{ExitDone};
    };
  });
}

}  // namespace Tool
