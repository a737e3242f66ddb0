// Hostile resources of a Redfish service: {"Attributes", "Registry"} as its BIOS, anything as the
// body of an answer.
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "Check.h"
#include "providers/redfish/ExtendedInfo.h"
#include "providers/redfish/Json.h"
#include "providers/redfish/SetupTree.h"

namespace {

using nlohmann::json;

/// The setup menus of the attributes, all of which can be written, and a save of them.
void TryTree(const json& attributes, const json& registry) {
  Redfish::SetupTree tree = Redfish::BuildSetupTree(attributes, registry);
  for (const auto& [path, attribute] : tree.attributes) {
    const auto node = tree.nodes.find(path);
    Fuzz::Require(node != tree.nodes.end(), "a node for " + path);
    Fuzz::Require(path.find('\n') == std::string::npos, "one line: " + path);
    for (const std::string& value : node->second.values) {
      static_cast<void>(Redfish::ToJson(attribute, value));
    }
    for (const auto& [value, text] : node->second.options) {
      static_cast<void>(Redfish::ToJson(attribute, value));
    }
  }
  tree.nodes["/BIOS"].kind = NODE_MENU;
  tree.nodes["/BIOS"].values = {Redfish::kSetupRoot};
  Fuzz::SaveAll(std::make_shared<Fuzz::TreeServer>(std::move(tree.nodes)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string body(reinterpret_cast<const char*>(data), size);
  static_cast<void>(Redfish::FirstFault(body));
  for (const Redfish::Message& message : Redfish::MessagesOf(body)) {
    static_cast<void>(Redfish::Filled(message.text, message.arguments));
  }
  const json resource = json::parse(body, nullptr, false);
  const json& registry = Redfish::At(resource, {"Registry"});
  TryTree(Redfish::At(resource, {"Attributes"}), registry);
  TryTree(Redfish::AttributesOfRegistry(registry), registry);
  return 0;
}
