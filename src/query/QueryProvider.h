#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "query/XNode.h"

namespace SDK {

/// Settings to write: path to value, or name to value below one path.
using SettingMap = std::map<std::string, std::string>;

/// What has become of one write, where there is more to say than that it is done.
struct WriteNote {
  enum class Fate {
    Pending,  ///< accepted; takes effect at the next boot
    Refused,  ///< the server does not take it
    Ignored,  ///< the server said yes and kept its value
    Skipped,  ///< not sent, since nobody can change it here
  };
  std::string path;
  Fate fate;
  std::string reason;  ///< a part of a sentence; never a value that is secret
};

/// What a server says of the settings that it was to take over at its last boot, or still is.
struct BootMessage {
  std::string path;  ///< of the setting that it is about; empty for all
  std::string time;  ///< when it was said, as the server writes it; empty when it does not tell
  std::string text;  ///< a part of a sentence
  bool isFault = true;
  bool isWaiting = false;  ///< it is about a value that takes effect at the next boot
  std::string value = {};  ///< that value
};

/// What a write would lead to beyond its own value, told before anything is written.
struct WriteForesight {
  enum class Kind {
    LocksOut,       ///< the way to the server that is in use ends, or gets too weak to go back
    OpensAccount,   ///< an account can be used that could not be, or by another name; its password
                    ///< is set with it
    NeedsPassword,  ///< the same, but it would have whatever password its slot had before
    CannotTake,     ///< the server has no way to take it; the rest can be written
    Locked,         ///< nobody can change it while others have the values that they will have
    NeedsRestart,   ///< the server takes it once it has restarted with the rest, and not before
    Unfit,          ///< what a file says of the settings below the path cannot be told
    Keeps,          ///< it is not written, whatever the value; no fault of whoever wants it
    Absent,         ///< the server has no such setting at all: there is nothing to write, and
                    ///< nothing that differs
  };
  std::string path;
  Kind kind;
  std::string text;     ///< a part of a sentence, about the path
  std::string account;  ///< the account's name after the write, where it is about one
};

/// One back end for one or more trees of the query path space ("BMC", "BIOS", "SMBIOS").
///
/// The director is its only caller and hands it the paths of the trees it is mounted for, from one
/// thread. A provider that keeps a connection keeps it from its construction to its destruction.
/// A text it hands out holds no NUL byte. Every failure is a `ResultStatus` from
/// `ErrorManager::Raise`; those that any operation may raise are Unreachable (the target does not
/// answer, or the session with it is lost) and NotPermitted.
class QueryProvider {
 public:
  QueryProvider() = default;
  QueryProvider(const QueryProvider&) = delete;
  QueryProvider& operator=(const QueryProvider&) = delete;
  virtual ~QueryProvider() = default;

  /// Adds nodes to `results`; entries already there stay.
  ///
  /// - Path P: the node P and every node below it, that is with a path that starts with P + "/" or
  ///   P + "[". The keys are full paths. A back end that asks its server for each node may leave
  ///   out some that no file has a place for; who asks for one of them, or for its node, gets it.
  /// - `P/@children`: the node P alone, with the full paths of its children as its values.
  ///
  /// \throws ResultStatus  NoSuchNode when the path names nothing; `results` is then unchanged.
  virtual void Read(const std::string& path, NodeMap& results) = 0;

  /// Forgets what earlier reads have brought: the next one asks the server again. For whoever has
  /// waited, for a person's answer say, and wants to know whether the server is still as it was.
  virtual void Refresh() {}

  /// All of the trees ("BMC", "BIOS", "SMBIOS") is about to be read: a provider to which each
  /// answer takes its time may ask for several things at a time, now or with the reads. A hint,
  /// which changes no answer; it throws only to stop.
  virtual void Expect(const std::vector<std::string>& /*trees*/) {}

  /// Applies every path-to-value pair as one batch. `isBios` and `reserved` are what the module
  /// passes to the director: (true, false) with BIOS settings, (false, false) with BMC settings.
  ///
  /// An empty value for a path that names nothing is no fault and changes nothing: a save writes
  /// one for every setting that a server lacks, and its file must restore there.
  ///
  /// The pair "/BIOS/AdminPw" to `password-password` asks to check the BIOS administrator password
  /// and changes nothing.
  ///
  /// A back end whose server takes settings one by one does not let one refusal stop the others: it
  /// writes all that the server takes and then raises WritesRefused, with a note for each refusal.
  /// It may keep a `WriteGroup`, or a refusal in it, to itself until the next batch, also an empty
  /// one, which then sends or raises it.
  ///
  /// \throws ResultStatus  NoSuchNode, ReadOnlyNode, ValueRefused (each naming path and value),
  ///                       PasswordRefused, WriteFailed, WritesRefused.
  virtual void Write(const SettingMap& settings, bool isBios, bool reserved) = 0;

  /// Applies a batch of BIOS settings, authorised by the BIOS administrator password (which may be
  /// empty).
  /// \throws ResultStatus  as `Write`.
  virtual void WriteAuthorised(const SettingMap& settings, const std::string& password) = 0;

  /// Sets several named settings of the node at `path` in one go: the setting `name` is the node
  /// `path/name`.
  ///
  /// At "/BIOS/AdminPw" the settings "ADMIN_PW" and "SETVALUE", both the password, ask to check the
  /// BIOS administrator password and change nothing.
  ///
  /// \throws ResultStatus  as `Write`.
  virtual void WriteGroup(const std::string& path, const SettingMap& settings) = 0;

  /// The platform name of the server, for example "CALDRA_PLATFORM"; empty when this back end does
  /// not know it.
  virtual std::string PlatformName() = 0;

  /// What writing `settings` as one batch would lead to, in the order of the writes; nothing for
  /// what is already as it should be. It changes nothing.
  /// \throws ResultStatus  as Read, and as `Write` for what that would refuse before it has sent
  ///                       anything.
  virtual std::vector<WriteForesight> Foresee(const SettingMap& /*settings*/) { return {}; }

  /// Passwords, by the name of the account, for those accounts that later writes open: each is set
  /// before its account can be used. The provider wipes its copy.
  virtual void UsePasswords(const SettingMap& /*passwords*/) {}

  /// The notes on the writes since the last call; a write without one is done.
  virtual std::vector<WriteNote> TakeWriteNotes() { return {}; }

  /// What the server has to say of settings that take effect at a boot. \throws as Read.
  virtual std::vector<BootMessage> BootMessages() { return {}; }

  /// Whether reads give a setting as it will be after the next boot, or as it is (usual). A restore
  /// looks ahead: where something else waits from an earlier change, the file's value has to be
  /// written also if it is the present one.
  virtual void LookAhead(bool /*isAhead*/) {}

  /// Takes back all that waits for the next boot, so that it changes nothing. \throws as Write.
  virtual void ClearWaiting() {}

  /// Restarts the server, and waits until it is up and has taken over what waited. Its operating
  /// system is asked to end; only where `mayForce`, one that has not ended after a third of `limit`
  /// or cannot be asked is ended.
  /// \throws ResultStatus  NoSuchForm when this back end cannot, WriteFailed when the server does
  ///                       not do it or is not back after `limit`.
  virtual void Restart(bool mayForce, std::chrono::seconds limit);
};

}  // namespace SDK
