#pragma once

#include <map>
#include <string>

/// Edits of a configuration file, the way people make them.
namespace Test {

/// `text` with the value of a key replaced; its comment stays. A key that is not there is added,
/// and its section too.
std::string WithValue(const std::string& text, const std::string& section, const std::string& key,
                      const std::string& value);

/// `text` without the line of a key.
std::string WithoutKey(const std::string& text, const std::string& section, const std::string& key);

/// All keys of a file, "SECTION::KEY" to value.
std::map<std::string, std::string> ValuesOf(const std::string& text);

/// The names of the keys in which two files differ, or that only one of them has: "SECTION::KEY".
std::map<std::string, std::string> DifferenceOf(const std::string& before,
                                                const std::string& after);

}  // namespace Test
