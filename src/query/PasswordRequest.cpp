#include "query/PasswordRequest.h"

#include "common/ErrorManager.h"

namespace Query {

std::string_view PasswordIn(std::string_view request) {
  const std::string_view once = request.substr(0, request.size() / 2);
  if (request.size() % 2 == 0 || request[once.size()] != '-' ||
      request.substr(once.size() + 1) != once) {
    ErrorManager::Raise(ErrorManager::PasswordRefused, "it must be given twice");
  }
  return once;
}

}  // namespace Query
