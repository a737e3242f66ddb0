#include "plan/ConfigurationFile.h"

#include <unistd.h>

#include <cerrno>

#include "common/WholeFile.h"
#include "modules/stream/StreamFile.h"
#include "plan/Failure.h"

namespace Planning {
namespace {

void ThrowIfMissing(const std::string& path) {
  if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
    throw Failure(Failure::Kind::NoInput, "\"" + path + "\" does not exist");
  }
  if (access(path.c_str(), R_OK) != 0 && (errno == EACCES || errno == EPERM)) {
    throw Failure(Failure::Kind::NotPermitted,
                  "\"" + path + "\" cannot be read: Permission denied");
  }
}

std::unique_ptr<IniDocument> ReadLines(const std::string& path) {
  auto document = std::make_unique<IniDocument>();
  if (document->Load(path.c_str()) != IniDocument::Status::Ok) {
    throw Failure(Failure::Kind::BadInput, "\"" + path + "\" is refused: " + document->Reason());
  }
  return document;
}

/// Sections of one name are one.
std::vector<Scf::Section> SectionsOf(const IniDocument& document) {
  std::vector<Scf::Section> sections;
  for (const IniDocument::Section& section : document.Sections()) {
    sections.push_back({"[" + std::string(section.name) + "]", {}});
  }
  for (const IniDocument::Entry& entry : document.Entries()) {
    sections[entry.section].rows.push_back(
        {std::string(entry.key), std::string(entry.value), std::string(entry.comment), ""});
  }
  return sections;
}

std::vector<Scf::Section> ReadStream(const std::string& path) {
  try {
    return SDK::Stream::InTextOrder(SDK::Stream::Decode(SDK::Stream::ReadFile(path)));
  } catch (const Scf::Damaged& fault) {
    throw Failure(Failure::Kind::BadInput, "\"" + path + "\" is refused: " + fault.what());
  }
}

Configuration ConfigurationOf(const IniDocument& document) {
  Configuration configuration;
  for (const IniDocument::Section& section : document.Sections()) {
    configuration.AddSection(std::string(section.name));
  }
  for (const IniDocument::Entry& entry : document.Entries()) {
    configuration.Add({std::string(document.Sections()[entry.section].name), std::string(entry.key),
                       std::string(entry.value), std::string(entry.comment), "", entry.line});
  }
  return configuration;
}

Configuration ConfigurationOf(const std::vector<Scf::Section>& sections) {
  Configuration configuration;
  for (const Scf::Section& section : sections) {
    const std::string name = section.name.substr(1, section.name.size() - 2);
    configuration.AddSection(name);
    for (const SDK::Row& row : section.rows) {
      configuration.Add({name, row.key, row.value, row.comment, row.path});
    }
  }
  return configuration;
}

}  // namespace

bool IsStreamName(const std::string& path) {
  return path.ends_with(".scf") || path.ends_with(".SCF");
}

ConfigurationFile::ConfigurationFile(
    const std::string& path, const std::function<std::string(const std::string& text)>& change) {
  ThrowIfMissing(path);
  std::vector<char> bytes;
  const auto read = Common::ReadWholeFile(path.c_str(), IniDocument::kMaxBytes, bytes);
  lines_ = std::make_unique<IniDocument>();
  const bool isRead = read.status == Common::WholeFileResult::Status::Ok;
  if (!isRead || lines_->Parse(change({bytes.begin(), bytes.end()})) != IniDocument::Status::Ok) {
    throw Failure(Failure::Kind::BadInput,
                  "\"" + path + "\" is refused: " + (isRead ? lines_->Reason() : read.reason));
  }
  sections_ = SectionsOf(*lines_);
  content_ = ConfigurationOf(*lines_);
}

ConfigurationFile::ConfigurationFile(const std::string& path) {
  ThrowIfMissing(path);
  if (IsStreamName(path)) {
    sections_ = ReadStream(path);
  } else {
    lines_ = ReadLines(path);
    sections_ = SectionsOf(*lines_);
  }
  content_ = lines_ != nullptr ? ConfigurationOf(*lines_) : ConfigurationOf(sections_);
}

}  // namespace Planning
