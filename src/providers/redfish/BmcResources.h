#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "providers/redfish/BmcTable.h"
#include "providers/redfish/Service.h"
#include "query/PatternTree.h"

namespace Redfish {

/// Where the resources of a BMC are, found through the links from the service root, and which
/// numbers they have.
///
/// User n is the account whose id is the number n. Where an id is no number, the accounts are
/// numbered from 1 in the order of their ids. Channel n is the n-th of the manager's Ethernet
/// interfaces that is enabled, trap destinations 0 and 1 are the first two subscriptions that send
/// SNMP traps, both in the order of their collections. All throw as `Service::Get`.
class BmcResources {
 public:
  explicit BmcResources(Service& service) : service_(service) {}

  /// The indexes that a letter of the table runs over, in ascending order.
  [[nodiscard]] std::vector<std::uint8_t> InstancesOf(char letter);

  /// The path of the resource that a row is about; empty where the service has none.
  [[nodiscard]] std::string PathOf(Holder holder, const Query::Indexes& indexes);

  [[nodiscard]] std::string ManagerPath();
  /// The path of the account with this number; empty without one.
  [[nodiscard]] std::string Account(std::uint8_t user);
  /// True when the service may be asked to make accounts: it does not say that it does not.
  [[nodiscard]] bool MakesAccounts();
  /// True for an account that is not there and that the service may be asked to make.
  [[nodiscard]] bool CanMake(std::uint8_t user);
  [[nodiscard]] std::vector<std::string> Interfaces();
  /// The subscriptions that send traps, or e-mail.
  [[nodiscard]] std::vector<std::string> Subscriptions(Holder holder);

  /// The collections; empty where the service has none.
  [[nodiscard]] std::string AccountCollection();
  [[nodiscard]] std::string SubscriptionCollection();

  /// What finds all of them.
  [[nodiscard]] std::vector<Service::Walk> Walks();

  /// Has what was found, and may have changed, fetched again when it is needed the next time.
  void Forget();

 private:
  struct Numbered {
    std::uint8_t number;
    std::string path;
  };

  [[nodiscard]] std::vector<Numbered> Accounts();
  [[nodiscard]] std::vector<std::string> MembersOf(const std::string& collection);
  /// The same for members that are all going to be looked into.
  [[nodiscard]] std::vector<std::string> FetchedMembersOf(const std::string& collection);
  [[nodiscard]] std::string FirstSerial();
  [[nodiscard]] std::string LinkOf(const std::string& path, const char* name);
  const json& ContentOf(const std::string& path);
  void TellNumbers(const char* kind, const std::vector<std::string>& paths);

  Service& service_;
  std::set<std::string> known_;  ///< paths that hold values
  std::set<std::string> told_;   ///< kinds whose numbers are told
};

}  // namespace Redfish
