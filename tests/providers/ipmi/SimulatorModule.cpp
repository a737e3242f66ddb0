// A module for the loadlib interface of ipmi_sim: it adds commands that Debian's simulator lacks,
// writes down every request, and misbehaves on demand.
//
// Its option is a folder. "requests" there gets a line for each request, in hexadecimal: network
// function, command, data. "knobs" is read at every request; each line is
//
//     refuse|ignore|delay|die ARGUMENT NETFN COMMAND [DATA...]
//
// and applies to requests that begin so. The argument of refuse is a completion code, that of delay
// milliseconds, that of the others 0. Ignore answers "done" and does nothing; die ends the
// simulator in the middle of the request.
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern "C" {
#include <OpenIPMI/mcserv.h>
}

namespace {

using Bytes = std::vector<std::uint8_t>;

/// An answer: completion code and data.
Bytes Done(Bytes data = {}) {
  data.insert(data.begin(), 0);
  return data;
}
Bytes Failed(std::uint8_t completion) {
  return {completion};
}

constexpr std::uint8_t kNoParameter = 0x80;
constexpr std::uint8_t kNotWritable = 0x82;
constexpr std::uint8_t kBadField = 0xCC;
constexpr std::uint8_t kRevision = 0x11;

struct Bmc {
  std::string folder;
  std::uint8_t powerPolicy = 1;
  std::string hostName = "bmc-in-a-box";
  std::string firmware = "SIM1.2.3.build-0042";
  // by channel and parameter, and set selector where there is one
  std::map<std::array<int, 3>, Bytes> lan;
  std::map<std::array<int, 3>, Bytes> sol;
  std::map<std::array<int, 2>, std::uint8_t> userAccess;  // by channel and user
  std::map<std::array<int, 2>, bool> payload;
  std::map<int, std::array<std::uint8_t, 2>> channelAccess;
};

Bmc& TheBmc() {
  static Bmc bmc;
  return bmc;
}

constexpr int kDestinations = 4;
constexpr auto kLanChannels = std::to_array({1, 2});

bool HasSelector(int parameter) {
  return parameter == 18 || parameter == 19 || parameter == 56 || parameter == 59;
}

void FillChannels() {
  Bmc& bmc = TheBmc();
  for (const int channel : kLanChannels) {
    const auto last = static_cast<std::uint8_t>(channel);
    bmc.lan[{channel, 4, 0}] = {1};
    bmc.lan[{channel, 10, 0}] = {0x03};
    bmc.lan[{channel, 11, 0}] = {4};
    bmc.lan[{channel, 16, 0}] = {'p', 'u', 'b', 'l', 'i', 'c', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    bmc.lan[{channel, 17, 0}] = {kDestinations};
    for (int i = 0; i <= kDestinations; ++i) {
      const auto index = static_cast<std::uint8_t>(i);
      bmc.lan[{channel, 18, i}] = {index, 0, 1, 1};
      bmc.lan[{channel, 19, i}] = {
          index, 0, 0, 192, 0, 2, static_cast<std::uint8_t>(50 + i), 0, 0, 0x5E, 0, 0x53, index};
    }
    bmc.lan[{channel, 50, 0}] = {0x02};
    bmc.lan[{channel, 51, 0}] = {static_cast<std::uint8_t>(channel == 1 ? 2 : 0)};
    bmc.lan[{channel, 55, 0}] = {1, 1, 3};
    const Bytes address = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, last, 64, 0};
    bmc.lan[{channel, 56, 0}] = {0, 0x80};
    bmc.lan[{channel, 59, 0}] = {0, 0x02};
    for (const int parameter : {56, 59}) {
      Bytes& data = bmc.lan[{channel, parameter, 0}];
      data.insert(data.end(), address.begin(), address.end());
    }
    bmc.lan[{channel, 59, 0}][2 + 14] = 0xDD;  // another address than the fixed one
    bmc.lan[{channel, 64, 0}] = {0x01};
    bmc.lan[{channel, 65, 0}] = Bytes(address.begin(), address.begin() + 16);
    bmc.lan[{channel, 66, 0}] = Bytes(6);
    bmc.lan[{channel, 67, 0}] = {64};
    bmc.lan[{channel, 68, 0}] = Bytes(16);
    bmc.sol[{channel, 0, 0}] = {0};
    bmc.sol[{channel, 1, 0}] = {1};
    bmc.sol[{channel, 2, 0}] = {0x82};
    bmc.sol[{channel, 4, 0}] = {7, 25};
    bmc.sol[{channel, 5, 0}] = {10};
    bmc.sol[{channel, 6, 0}] = {10};
  }
}

/// Answers a read of a parameter of `table`; an empty answer when it is not there.
Bytes GetParameter(const std::map<std::array<int, 3>, Bytes>& table, const Bytes& request) {
  if (request.size() < 4) return Failed(0xC7);
  const int parameter = request[1];
  const auto found =
      table.find({request[0] & 0x0F, parameter, HasSelector(parameter) ? int{request[2]} : 0});
  if (found == table.end()) return {};
  Bytes data = found->second;
  data.insert(data.begin(), kRevision);
  return Done(data);
}

/// Answers a write of a parameter of `table`; an empty answer when it is not there.
Bytes SetParameter(std::map<std::array<int, 3>, Bytes>& table, const Bytes& request) {
  if (request.size() < 3) return Failed(0xC7);
  const int parameter = request[1];
  const auto found =
      table.find({request[0] & 0x0F, parameter, HasSelector(parameter) ? int{request[2]} : 0});
  if (found == table.end()) return {};
  const bool isReadOnly = &table == &TheBmc().lan && (parameter == 17 || parameter == 50 ||
                                                      parameter == 55 || parameter == 59);
  if (isReadOnly) return Failed(kNotWritable);
  Bytes data(request.begin() + 2, request.end());
  if (parameter == 56) data.push_back(0);  // the status is the BMC's own
  if (data.size() != found->second.size()) return Failed(0xC7);
  found->second = data;
  return Done();
}

Bytes GetChassisStatus(const Bytes& /*request*/, const Bytes& stock) {
  Bytes answer = stock;
  if (answer.size() > 1) answer[1] |= static_cast<std::uint8_t>(TheBmc().powerPolicy << 5U);
  return answer;
}

Bytes SetPowerPolicy(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() != 1) return Failed(0xC7);
  if (request[0] > 2) return Failed(kBadField);
  TheBmc().powerPolicy = request[0];
  return Done({0x07});
}

/// The stock answer has bit 4 for a user that is enabled, and the same for every channel.
Bytes GetUserAccess(const Bytes& request, const Bytes& stock) {
  if (stock.size() < 5) return stock;
  Bytes answer = stock;
  const bool isEnabled = (stock[4] & 0x10U) != 0;
  answer[2] = static_cast<std::uint8_t>(stock[2] | (isEnabled ? 0x40U : 0x80U));
  const auto start = static_cast<std::uint8_t>((stock[4] & 0x0FU) | 0x10U);
  answer[4] = TheBmc()
                  .userAccess.try_emplace({request.at(0) & 0x0F, request.at(1) & 0x3F}, start)
                  .first->second;
  return answer;
}

Bytes SetUserAccess(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() < 3) return Failed(0xC7);
  TheBmc().userAccess[{request[0] & 0x0F, request[1] & 0x3F}] =
      static_cast<std::uint8_t>((request[0] & 0x70U) | (request[2] & 0x0FU));
  return Done();
}

bool& PayloadOf(const Bytes& request) {
  const std::array<int, 2> key = {request.at(0) & 0x0F, request.at(1) & 0x3F};
  return TheBmc().payload.try_emplace(key, key[1] == 2).first->second;
}

Bytes GetPayloadAccess(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() != 2) return Failed(0xC7);
  return Done({static_cast<std::uint8_t>(PayloadOf(request) ? 2 : 0), 0, 0, 0});
}

Bytes SetPayloadAccess(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() != 6) return Failed(0xC7);
  if ((request[2] & 2U) != 0) PayloadOf(request) = (request[1] & 0xC0U) == 0;
  return Done();
}

std::array<std::uint8_t, 2>& ChannelAccessOf(const Bytes& request) {
  const std::array<std::uint8_t, 2> start = {0x02, 0x04};
  return TheBmc().channelAccess.try_emplace(request.at(0) & 0x0F, start).first->second;
}

constexpr std::uint8_t kNonVolatile = 0x40;

Bytes GetChannelAccess(const Bytes& request, const Bytes& stock) {
  if (request.size() != 2 || request[1] != kNonVolatile || stock.size() < 3) return stock;
  const auto& access = ChannelAccessOf(request);
  return Done({access[0], access[1]});
}

Bytes SetChannelAccess(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() != 3) return Failed(0xC7);
  auto& access = ChannelAccessOf(request);
  for (std::size_t i = 0; i < access.size(); ++i) {
    if ((request[i + 1] & 0xC0U) == kNonVolatile) access.at(i) = request[i + 1] & 0x3FU;
  }
  return Done();
}

Bytes GetSystemInfo(const Bytes& request, const Bytes& /*stock*/) {
  if (request.size() != 4) return Failed(0xC7);
  if (request[1] != 1) return Failed(kNoParameter);
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

Bytes GetLan(const Bytes& request, const Bytes& stock) {
  Bytes own = GetParameter(TheBmc().lan, request);
  return own.empty() ? stock : own;
}

Bytes GetSol(const Bytes& request, const Bytes& /*stock*/) {
  Bytes own = GetParameter(TheBmc().sol, request);
  return own.empty() ? Failed(kNoParameter) : own;
}

Bytes SetSol(const Bytes& request, const Bytes& /*stock*/) {
  Bytes own = SetParameter(TheBmc().sol, request);
  return own.empty() ? Failed(kNoParameter) : own;
}

/// Group extension DCh, DCMI: offset and length; the data do not hold the extension's number.
Bytes DcmiHostName(std::uint8_t command, const Bytes& request) {
  std::string& name = TheBmc().hostName;
  if (request.size() < 3) return Failed(0xC7);
  const std::size_t at = request[1];
  const std::size_t count = request[2];
  if (command == 0x09) {
    if (at > name.size() || count > 16) return Failed(0xC9);
    Bytes data = {static_cast<std::uint8_t>(name.size())};
    const std::string part = name.substr(at, count);
    data.insert(data.end(), part.begin(), part.end());
    return Done(data);
  }
  if (command != 0x0A) return Failed(0xC1);
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
    {0x0C, 0x02, GetLan, true},
    {0x0C, 0x21, SetSol, false},
    {0x0C, 0x22, GetSol, false},
});

using Handlers = std::array<cmd_handler_f, 256>;
std::map<std::uint8_t, Handlers>& StockHandlers() {
  static std::map<std::uint8_t, Handlers> handlers;
  return handlers;
}

struct Knob {
  std::string what;
  unsigned argument = 0;
};

std::string Line(std::uint8_t netFn, std::uint8_t command, const Bytes& data) {
  std::ostringstream line;
  line << std::hex << std::uppercase;
  const auto put = [&](unsigned byte) { line << (byte < 16 ? "0" : "") << byte << ' '; };
  put(netFn);
  put(command);
  for (const std::uint8_t byte : data) put(byte);
  return line.str();
}

std::vector<Knob> KnobsFor(const std::string& request) {
  std::vector<Knob> knobs;
  std::ifstream file(TheBmc().folder + "/knobs");
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    Knob knob;
    std::string prefix;
    words >> knob.what >> knob.argument >> std::ws;
    std::getline(words, prefix);
    if (request.starts_with(prefix)) knobs.push_back(knob);
  }
  return knobs;
}

/// \return the answer that a knob gives; an empty one to go on.
Bytes Misbehave(const std::string& request) {
  for (const Knob& knob : KnobsFor(request)) {
    if (knob.what == "die") _exit(0);
    if (knob.what == "delay") std::this_thread::sleep_for(std::chrono::milliseconds(knob.argument));
    if (knob.what == "refuse") return Failed(static_cast<std::uint8_t>(knob.argument));
    if (knob.what == "ignore") return Done();
  }
  return {};
}

void Reply(const Bytes& answer, unsigned char* data, unsigned* length) {
  std::ranges::copy(answer, data);
  *length = static_cast<unsigned>(answer.size());
}

Bytes AskStock(lmc_data_t* mc, msg_t* message, unsigned char* data, unsigned* length) {
  const cmd_handler_f stock = StockHandlers().at(message->netfn).at(message->cmd);
  if (stock == nullptr) return Failed(0xC1);
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
  if (message->netfn == 0x0C && message->cmd == 0x01) {
    Bytes answer = SetParameter(TheBmc().lan, request);
    if (!answer.empty()) return answer;
  }
  return AskStock(mc, message, data, length);
}

void Handle(lmc_data_t* mc, msg_t* message, unsigned char* data, unsigned* length,
            void* /*context*/) {
  const Bytes request(message->data, message->data + message->len);
  const std::string line = Line(message->netfn, message->cmd, request);
  std::ofstream(TheBmc().folder + "/requests", std::ios::app) << line << '\n';
  Bytes answer = Misbehave(line);
  if (answer.empty()) answer = AnswerTo(mc, message, request, data, length);
  Reply(answer, data, length);
}

void HandleDcmi(lmc_data_t* /*mc*/, msg_t* message, unsigned char* data, unsigned* length,
                void* /*context*/) {
  const Bytes request(message->data, message->data + message->len);
  const std::string line = Line(0x2C, message->cmd, request);
  std::ofstream(TheBmc().folder + "/requests", std::ios::app) << line << '\n';
  Bytes answer = Misbehave(line);
  if (answer.empty()) answer = DcmiHostName(message->cmd, request);
  if (answer.front() == 0) answer.insert(answer.begin() + 1, 0xDC);
  Reply(answer, data, length);
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

__attribute__((visibility("default"))) void ipmi_sim_module_print_version(sys_data_t* /*system*/,
                                                                          char* /*options*/) {}

__attribute__((visibility("default"))) int ipmi_sim_module_init(sys_data_t* /*system*/,
                                                                const char* options) {
  TheBmc().folder = options;
  FillChannels();
  return 0;
}

__attribute__((visibility("default"))) int ipmi_sim_module_post_init(sys_data_t* /*system*/) {
  TakeOver(0x00, "chassis_netfn_handlers");
  TakeOver(0x04, "sensor_event_netfn_handlers");
  TakeOver(0x06, "app_netfn_handlers");
  TakeOver(0x0C, "transport_netfn_handlers");
  ipmi_emu_register_group_extension_handler(0xDC, HandleDcmi, nullptr);
  return 0;
}
}
