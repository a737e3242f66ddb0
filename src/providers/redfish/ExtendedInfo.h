#pragma once

#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

namespace Redfish {

/// One message of a service.
struct Message {
  std::string text;             ///< for people; a part of a sentence; its id where it has none
  bool isFault = true;          ///< its severity is other than OK
  std::set<std::string> about;  ///< names that may be those of attributes
  std::string id = {};          ///< by which registries know it
  std::vector<std::string> arguments = {};
};

/// `text` of a registry with the arguments in the place of "%1", "%2", ...; a part of a sentence.
[[nodiscard]] std::string Filled(std::string text, const std::vector<std::string>& arguments);

/// The first fault that the body of an answer tells in words; empty without one.
[[nodiscard]] std::string FirstFault(const std::string& body);

/// The messages of a list such as "@Message.ExtendedInfo".
[[nodiscard]] std::vector<Message> MessagesIn(const nlohmann::json& list);

/// All messages in the body of an answer, wherever a service puts them: below "error", beside the
/// resource, or beside single attributes. Anything that is not JSON holds none.
[[nodiscard]] std::vector<Message> MessagesOf(const std::string& body);

}  // namespace Redfish
