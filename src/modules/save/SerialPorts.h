#pragma once

#include <string>

namespace SDK {

/// What the BIOS restores of a process remember of the serial ports, from one setting to the next
/// and from one restore to the next: what port A has, which port B may not take, and whether port B
/// was seen enabled.
struct SerialPorts {
  std::string Serial_A_Address;
  std::string Serial_A_IRQ;
  bool serialBfound = false;

  /// The one of this process.
  static SerialPorts& OfProcess();
};

/// Gives the process back, when it goes, what it remembered when this was made. A rehearsal holds
/// one: what it has read is no port of a restore.
class SerialPortMemory {
 public:
  SerialPortMemory() = default;
  SerialPortMemory(const SerialPortMemory&) = delete;
  SerialPortMemory& operator=(const SerialPortMemory&) = delete;
  ~SerialPortMemory() { SerialPorts::OfProcess() = before_; }

 private:
  SerialPorts before_ = SerialPorts::OfProcess();
};

}  // namespace SDK
