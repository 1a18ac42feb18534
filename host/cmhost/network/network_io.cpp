#include "host/cmhost/network/network_io.h"

extern "C" {
#include <libavutil/error.h>
}

#include <algorithm>
#include <cstring>
#include <iterator>

#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/dictionary.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"

namespace cmhost {

namespace {

struct Scheme {
  const char* name;
  const char* protocols;
};

// Web servers may redirect between http and https.
constexpr const char* webProtocols = "http,https,httpproxy,tcp,tls";
constexpr Scheme schemes[] = {
    {"http", webProtocols}, {"https", webProtocols},
    {"rtmp", "rtmp,tcp"},   {"rtmps", "rtmps,tls,tcp"},
    {"rtp", "rtp,udp"},     {"srt", "srt"},
    {"tcp", "tcp"},         {"udp", "udp"},
};

const Scheme* findScheme(const std::string& name) {
  const auto* const found = std::find_if(
      std::begin(schemes), std::end(schemes),
      [&name](const Scheme& each) { return name.rfind(std::string(each.name) + "://", 0) == 0; });
  return found != std::end(schemes) ? found : nullptr;
}

bool isAbout(const char* key, const char* what) { return std::strstr(key, what) != nullptr; }

void setDefaults(const std::string& scheme, bool isReader, Dictionary& dictionary) {
  if (isReader && isAbout(scheme.c_str(), "http")) {
    dictionary.setDefault("reconnect", "1");
    dictionary.setDefault("reconnect_streamed", "1");
    dictionary.setDefault("reconnect_delay_max", "30");
  }
  // A reader that is too slow loses packets, which counts as damage, and does not stop.
  if (isReader && scheme == "udp") dictionary.setDefault("overrun_nonfatal", "1");
  // Packets of a transport stream are not divided.
  if (!isReader && scheme == "udp") dictionary.setDefault("pkt_size", "1316");
}

}  // namespace

bool isNetworkAddress(const std::string& name) { return findScheme(name) != nullptr; }

std::string schemeOf(const std::string& name) {
  const Scheme* const scheme = findScheme(name);
  return scheme != nullptr ? scheme->name : "";
}

std::string protocolsFor(const std::string& address) {
  const Scheme* const scheme = findScheme(address);
  return scheme != nullptr ? scheme->protocols : "";
}

NetworkIo::NetworkIo(const std::string& address, int flags, const Options::KeyValues& options)
    : isReader_(flags == AVIO_FLAG_READ) {
  Dictionary dictionary;
  for (const auto& [key, value] : options)
    if (!isAbout(key.c_str(), "protocol_")) dictionary.set(key.c_str(), value.c_str());
  setDefaults(schemeOf(address), isReader_, dictionary);
  dictionary.set("protocol_whitelist", protocolsFor(address).c_str());
  const AVIOInterruptCB stop = {&NetworkIo::isStopped, this};
  const int result = avio_open2(&io_, address.c_str(), flags, &stop, dictionary.entries());
  if (interruption::received() != 0) {
    close();
    throw interruption::Interrupted();
  }
  if (result < 0) throw Failure(address + ": cannot open: " + avErrorReason(result));
  isOpen_ = true;
  for (const auto& [key, value] : options)
    if (isAbout(key.c_str(), "protocol_") || !dictionary.value(key.c_str()).empty())
      unused_.emplace_back(key, value);
}

NetworkIo::~NetworkIo() {
  isInterrupted_ = true;  // what is still buffered need not be sent
  close();
}

int NetworkIo::close() { return avio_closep(&io_); }

// After a signal, nothing more is read, but the output is completed.
int NetworkIo::isStopped(void* self) {
  const auto* const network = static_cast<NetworkIo*>(self);
  const bool endsBySignal = network->isReader_ || !network->isOpen_;
  return network->isInterrupted_ || (endsBySignal && interruption::received() != 0) ? 1 : 0;
}

}  // namespace cmhost
