// A module for the loadlib interface of ipmi_sim: it adds commands that Debian's simulator lacks,
// writes down every request, and misbehaves by rules.
//
// Its option is a folder. "requests" there gets a line for each request, in hexadecimal: network
// function, command, data. "rules" is looked at with every request; each line of it is
//
//     REQUEST[ xTIMES]: answer CODE [DATA...]   instead of doing what was asked
//                       short COUNT             so many bytes of data, and no more
//                       delay MILLISECONDS      before the answer, and other rules still count
//                       drop                    does what was asked; the answer is lost
//                       exit                    ends the simulator in the middle of the request
//
// and counts for requests that begin so, TIMES of them or all. Numbers are hexadecimal but for
// those of x, short and delay. For drop the module has to be preloaded too.
#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cstdint>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

extern "C" {
#include <OpenIPMI/mcserv.h>
}

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kNoParameter = 0x80;
constexpr std::uint8_t kNotWritable = 0x82;
constexpr std::uint8_t kNoCommand = 0xC1;
constexpr std::uint8_t kBadLength = 0xC7;
constexpr std::uint8_t kBadField = 0xCC;
constexpr std::uint8_t kRevision = 0x11;

Bytes Done(Bytes data = {}) {
  data.insert(data.begin(), 0);
  return data;
}

Bytes FromHex(const std::string& text) {
  Bytes bytes;
  std::istringstream words(text);
  for (unsigned byte = 0; words >> std::hex >> byte;) {
    bytes.push_back(static_cast<std::uint8_t>(byte));
  }
  return bytes;
}

std::string Hex(unsigned byte) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  return {kDigits[byte >> 4U], kDigits[byte & 0xFU], ' '};
}

/// The parameters of channel 1 at the start; those of channel 2 hold that number where ## stands.
struct ParameterRow {
  std::uint8_t getCommand;
  int number;
  const char* data;
  bool isReadOnly = false;
  bool hasSelector = false;
};

constexpr std::uint8_t kGetLan = 0x02;
constexpr std::uint8_t kGetSol = 0x22;
constexpr int kDestination = 19;
constexpr int kDestinations = 4;
constexpr auto kParameters = std::to_array<ParameterRow>({
    {kGetLan, 4, "01"},
    {kGetLan, 10, "03"},
    {kGetLan, 11, "04"},
    {kGetLan, 16, "70 75 62 6C 69 63 00 00 00 00 00 00 00 00 00 00 00 00"},
    {kGetLan, 17, "04", true},
    {kGetLan, kDestination, "00 00 00 C0 00 02 32 00 00 5E 00 53 00", false, true},
    {kGetLan, 51, "02"},
    {kGetLan, 56, "00 80 20 01 0D B8 00 00 00 00 00 00 00 00 00 00 00 ## 40 01", false, true},
    {kGetLan, 59, "00 02 20 01 0D B8 00 00 00 00 00 00 00 00 00 00 DD ## 40 00", true, true},
    {kGetLan, 65, "20 01 0D B8 00 00 00 00 00 00 00 00 00 00 00 ##"},
    {kGetSol, 0, "00"},
    {kGetSol, 1, "01"},
    {kGetSol, 2, "82"},
    {kGetSol, 4, "07 19"},
    {kGetSol, 5, "0A"},
    {kGetSol, 6, "0A"},
});

struct Bmc {
  std::string folder;
  std::uint8_t powerPolicy = 1;
  std::string hostName = "bmc-in-a-box";
  std::string firmware = "SIM1.2.3.build-0042";
  std::map<std::array<int, 4>, Bytes> parameters;    // by command, channel, parameter, set selector
  std::map<std::array<int, 3>, std::uint8_t> cells;  // all that is one byte
  bool dropsNext = false;
};

Bmc& TheBmc() {
  static Bmc bmc;
  return bmc;
}

void FillParameters() {
  for (const int channel : {1, 2}) {
    for (const ParameterRow& row : kParameters) {
      std::string text = row.data;
      if (const std::size_t at = text.find("##"); at != std::string::npos) {
        text.replace(at, 2, "0" + std::to_string(channel));
      }
      const bool isDestination = row.hasSelector && row.number <= kDestination;
      for (int selector = 0; selector <= (isDestination ? kDestinations : 0); ++selector) {
        Bytes& data = TheBmc().parameters[{row.getCommand, channel, row.number, selector}];
        data = FromHex(text);
        const auto index = static_cast<std::uint8_t>(selector);
        if (isDestination) data[0] = index;
        if (row.number == kDestination) {
          data[6] = static_cast<std::uint8_t>(data[6] + index);
          data[12] = index;
        }
      }
    }
  }
  TheBmc().parameters[{kGetLan, 2, 51, 0}] = {0};
}

const ParameterRow* RowOf(std::uint8_t getCommand, int number) {
  const auto* row = std::ranges::find_if(kParameters, [&](const ParameterRow& each) {
    return each.getCommand == getCommand && each.number == number;
  });
  return row == kParameters.end() ? nullptr : row;
}

/// Answers a read or a write of a parameter; an empty answer when it is not in the table.
Bytes AnswerOfParameter(std::uint8_t getCommand, bool isRead, const Bytes& request) {
  if (request.size() < (isRead ? 4 : 3)) return {kBadLength};
  const ParameterRow* row = RowOf(getCommand, request[1]);
  if (row == nullptr) return {};
  const auto found = TheBmc().parameters.find(
      {getCommand, request[0] & 0x0F, request[1], row->hasSelector ? int{request[2]} : 0});
  if (found == TheBmc().parameters.end()) return {};
  if (isRead) {
    Bytes data = found->second;
    data.insert(data.begin(), kRevision);
    return Done(data);
  }
  if (row->isReadOnly) return {kNotWritable};
  const Bytes data(request.begin() + 2, request.end());
  if (data.size() != found->second.size()) return {kBadLength};
  found->second = data;
  return Done();
}

Bytes GetChassisStatus(const Bytes& /*request*/, const Bytes& stock) {
  Bytes answer = stock;
  if (answer.size() > 1) answer[1] |= static_cast<std::uint8_t>(TheBmc().powerPolicy << 5U);
  return answer;
}

Bytes SetPowerPolicy(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() != 1) return {kBadLength};
  if (request[0] > 2) return {kBadField};
  TheBmc().powerPolicy = request[0];
  return Done({0x07});
}

enum Cell { UserAccess, Payload, ChannelAccess };

/// A byte of a channel and a user, or of a channel and what it is; `start` when nobody has set it.
std::uint8_t& CellOf(Cell cell, const Bytes& request, int index, std::uint8_t start) {
  return TheBmc().cells.try_emplace({cell, request.at(0) & 0x0F, index}, start).first->second;
}

/// The stock answer has bit 4 for a user that is enabled, and the same for every channel.
Bytes GetUserAccess(const Bytes& request, const Bytes& stock) {
  if (stock.size() < 5) return stock;
  Bytes answer = stock;
  const bool isEnabled = (stock[4] & 0x10U) != 0;
  answer[2] = static_cast<std::uint8_t>(stock[2] | (isEnabled ? 0x40U : 0x80U));
  const auto start = static_cast<std::uint8_t>((stock[4] & 0x0FU) | 0x10U);
  answer[4] = CellOf(UserAccess, request, request.at(1) & 0x3F, start);
  return answer;
}

Bytes SetUserAccess(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() < 3) return {kBadLength};
  CellOf(UserAccess, request, request[1] & 0x3F, 0) =
      static_cast<std::uint8_t>((request[0] & 0x70U) | (request[2] & 0x0FU));
  return Done();
}

Bytes GetPayloadAccess(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() != 2) return {kBadLength};
  return Done({CellOf(Payload, request, request[1] & 0x3F, request[1] == 2 ? 2 : 0), 0, 0, 0});
}

Bytes SetPayloadAccess(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() != 6) return {kBadLength};
  CellOf(Payload, request, request[1] & 0x3F, 0) = (request[1] & 0xC0U) == 0 ? request[2] : 0;
  return Done();
}

/// Byte 0 and 1 of what is stored (01b) and in force (10b).
std::uint8_t& ChannelAccessOf(const Bytes& request, int storage, int byte) {
  return CellOf(ChannelAccess, request, 2 * storage + byte, byte == 0 ? 0x02 : 0x04);
}

Bytes GetChannelAccess(const Bytes& request, const Bytes& stock) {
  if (request.size() != 2 || stock.size() < 3) return stock;
  const int storage = request[1] >> 6;
  return Done({ChannelAccessOf(request, storage, 0), ChannelAccessOf(request, storage, 1)});
}

Bytes SetChannelAccess(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() != 3) return {kBadLength};
  for (const int byte : {0, 1}) {
    const std::uint8_t value = request[static_cast<std::size_t>(byte) + 1];
    if (value >= 0x40) ChannelAccessOf(request, value >> 6, byte) = value & 0x3FU;
  }
  return Done();
}

Bytes GetSystemInfo(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() != 4) return {kBadLength};
  if (request[1] != 1) return {kNoParameter};
  const std::string& text = TheBmc().firmware;
  const std::size_t block = request[2];
  Bytes data = {kRevision, request[2]};
  if (block == 0) data.insert(data.end(), {0, static_cast<std::uint8_t>(text.size())});
  const std::size_t from = block == 0 ? 0 : 14 + 16 * (block - 1);
  for (std::size_t i = from; data.size() < 18; ++i) {
    data.push_back(i < text.size() ? static_cast<std::uint8_t>(text[i]) : std::uint8_t{0});
  }
  return Done(data);
}

/// Group extension DCh, DCMI: offset and length; the data do not hold the extension's number.
Bytes DcmiHostName(std::uint8_t command, const Bytes& request) {
  std::string& name = TheBmc().hostName;
  if (request.size() < 3) return {kBadLength};
  const std::size_t at = request[1];
  const std::size_t count = request[2];
  if (command == 0x09) {
    if (at > name.size() || count > 16) return {0xC9};
    Bytes data = {static_cast<std::uint8_t>(name.size())};
    const std::string part = name.substr(at, count);
    data.insert(data.end(), part.begin(), part.end());
    return Done(data);
  }
  if (command != 0x0A) return {kNoCommand};
  static std::string staged;
  staged.resize(at);
  staged.append(request.begin() + 3, request.end());
  if (staged.ends_with('\0')) name = staged.substr(0, staged.find('\0'));
  return Done({static_cast<std::uint8_t>(staged.size())});
}

/// A command of ours. It gets what the simulator's own handler has answered, unless it is a write
/// that replaces that one's.
struct OwnCommand {
  std::uint8_t netFn;
  std::uint8_t command;
  Bytes (*handle)(const Bytes& request, const Bytes& stock);
  bool asksStock;
};

constexpr auto kOwnCommands = std::to_array<OwnCommand>({
    {0x00, 0x01, GetChassisStatus, true},
    {0x00, 0x06, SetPowerPolicy, false},
    {0x06, 0x40, SetChannelAccess, false},
    {0x06, 0x41, GetChannelAccess, true},
    {0x06, 0x43, SetUserAccess, false},
    {0x06, 0x44, GetUserAccess, true},
    {0x06, 0x4C, SetPayloadAccess, false},
    {0x06, 0x4D, GetPayloadAccess, false},
    {0x06, 0x59, GetSystemInfo, false},
});

using Handlers = std::array<cmd_handler_f, 256>;
std::map<std::uint8_t, Handlers>& StockHandlers() {
  static std::map<std::uint8_t, Handlers> handlers;
  return handlers;
}

struct Rule {
  std::string request;
  unsigned times = UINT_MAX;
  std::string action;
  std::string arguments;
};

/// The rules as the file has them now, with what is left of their times.
std::vector<Rule>& TheRules() {
  static std::string known;
  static std::vector<Rule> rules;
  std::ostringstream text;
  text << std::ifstream(TheBmc().folder + "/rules").rdbuf();
  if (text.str() == known) return rules;
  known = text.str();
  rules.clear();
  std::istringstream lines(known);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    Rule rule{line.substr(0, colon), UINT_MAX, "", ""};
    if (const std::size_t times = rule.request.find(" x"); times != std::string::npos) {
      rule.times = static_cast<unsigned>(std::stoul(rule.request.substr(times + 2)));
      rule.request.resize(times);
    }
    std::istringstream words(line.substr(colon + 1));
    words >> rule.action;
    std::getline(words, rule.arguments);
    rules.push_back(rule);
  }
  return rules;
}

/// What the rules make of the answer to a request; `act` does what was asked.
Bytes AnswerByRules(const std::string& request, const std::function<Bytes()>& act) {
  std::size_t longest = SIZE_MAX;
  for (Rule& rule : TheRules()) {
    if (!request.starts_with(rule.request) || rule.times == 0) continue;
    --rule.times;
    if (rule.action == "answer") return FromHex(rule.arguments);
    if (rule.action == "exit") _exit(0);
    if (rule.action == "drop") TheBmc().dropsNext = true;
    if (rule.action == "short") longest = 1 + std::stoul(rule.arguments);
    if (rule.action == "delay") {
      std::this_thread::sleep_for(std::chrono::milliseconds(std::stoul(rule.arguments)));
    }
  }
  Bytes answer = act();
  answer.resize(std::min(answer.size(), longest));
  return answer;
}

Bytes AskStock(lmc_data_t* mc, msg_t* message, unsigned char* data, unsigned* length) {
  const cmd_handler_f stock = StockHandlers().at(message->netfn).at(message->cmd);
  if (stock == nullptr) return {kNoCommand};
  stock(mc, message, data, length, nullptr);
  return {data, data + *length};
}

Bytes AnswerTo(lmc_data_t* mc, msg_t* message, const Bytes& request, unsigned char* data,
               unsigned* length) {
  const auto* own = std::ranges::find_if(kOwnCommands, [&](const OwnCommand& row) {
    return row.netFn == message->netfn && row.command == message->cmd;
  });
  if (own != kOwnCommands.end()) {
    return own->handle(request, own->asksStock ? AskStock(mc, message, data, length) : Bytes{});
  }
  if (message->netfn == 0x0C) {
    const bool isSol = message->cmd >= kGetSol - 1;
    const std::uint8_t get = isSol ? kGetSol : kGetLan;
    const bool isKnown = message->cmd == get || message->cmd == get - 1;
    Bytes answer = isKnown ? AnswerOfParameter(get, message->cmd == get, request) : Bytes();
    if (!answer.empty() || isSol) return answer.empty() ? Bytes{kNoParameter} : answer;
  }
  return AskStock(mc, message, data, length);
}

constexpr std::uint8_t kGroupExtension = 0x2C;

void Handle(lmc_data_t* mc, msg_t* message, unsigned char* data, unsigned* length,
            void* /*context*/) {
  const Bytes request(message->data, message->data + message->len);
  std::string line = Hex(message->netfn) + Hex(message->cmd);
  for (const std::uint8_t byte : request) line += Hex(byte);
  std::ofstream(TheBmc().folder + "/requests", std::ios::app) << line << '\n';
  const bool isDcmi = message->netfn == kGroupExtension;
  Bytes answer = AnswerByRules(line, [&] {
    return isDcmi ? DcmiHostName(message->cmd, request)
                  : AnswerTo(mc, message, request, data, length);
  });
  if (isDcmi && answer.front() == 0) answer.insert(answer.begin() + 1, 0xDC);
  std::ranges::copy(answer, data);
  *length = static_cast<unsigned>(answer.size());
}

/// The simulator's tables of handlers, by the names it exports them under.
void TakeOver(std::uint8_t netFn, const char* table) {
  void* symbol = dlsym(RTLD_DEFAULT, table);
  Handlers& stock = StockHandlers()[netFn];
  stock.fill(nullptr);
  for (unsigned command = 0; command < stock.size(); ++command) {
    if (symbol != nullptr) stock.at(command) = static_cast<cmd_handler_f*>(symbol)[command];
    ipmi_emu_register_cmd_handler(netFn, static_cast<std::uint8_t>(command), Handle, nullptr);
  }
}

}  // namespace

extern "C" {

/// In the place of the C library's: what is lost has been sent, for all that the sender knows.
__attribute__((visibility("default"))) ssize_t sendmsg(int socket, const msghdr* message,
                                                       int flags) {
  if (std::exchange(TheBmc().dropsNext, false)) return 1;
  return syscall(SYS_sendmsg, socket, message, flags);
}

__attribute__((visibility("default"))) void ipmi_sim_module_print_version(sys_data_t* /*system*/,
                                                                          char* /*options*/) {}

__attribute__((visibility("default"))) int ipmi_sim_module_init(sys_data_t* /*system*/,
                                                                const char* options) {
  TheBmc().folder = options;
  FillParameters();
  return 0;
}

__attribute__((visibility("default"))) int ipmi_sim_module_post_init(sys_data_t* /*system*/) {
  TakeOver(0x00, "chassis_netfn_handlers");
  TakeOver(0x04, "sensor_event_netfn_handlers");
  TakeOver(0x06, "app_netfn_handlers");
  TakeOver(0x0C, "transport_netfn_handlers");
  ipmi_emu_register_group_extension_handler(0xDC, Handle, nullptr);
  return 0;
}
}
