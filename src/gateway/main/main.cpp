#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include <getopt.h>
#include <sys/resource.h>

#include "gateway/Gateway.h"
#include "model/MimeTypes.h"
#include "model/ServiceOptions.h"
#include "platform/media/MediaUrl.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// Most wait for a disk or for a picture to be made.
constexpr std::uint32_t kWorkers = 16;
constexpr std::string_view kGatewayLog = "/var/log/dms-gateway.log";

struct Arguments {
    std::string address;  // empty: the daemon's
    std::uint16_t port = kMediaPort;
    bool log_to_stderr = false;
};

int PrintUsage() {
    std::fprintf(stderr,
                 "usage: dms-gateway [--address A] [--port P] [--stderr] [--foreground]\n"
                 "  --address A   IPv4 address to listen on; by default the one that the media server chose\n"
                 "  --port P      port to listen on instead of %d\n"
                 "  --stderr      log to standard error as well\n"
                 "  --foreground  do not detach, which this program never does\n",
                 kMediaPort);
    return 2;
}

std::optional<Arguments> ParseArguments(int argc, char** argv) {
    constexpr option kOptions[] = {{"address", required_argument, nullptr, 'a'},
                                   {"port", required_argument, nullptr, 'p'},
                                   {"stderr", no_argument, nullptr, 'e'},
                                   {"foreground", no_argument, nullptr, 'f'},
                                   {nullptr, 0, nullptr, 0}};
    Arguments arguments;
    for (int c = 0; (c = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
        if (c == 'a') {
            arguments.address = optarg;
        } else if (c == 'p') {
            const std::optional<std::int32_t> port = ParseRowId(optarg);
            if (!port || *port > 65535) return std::nullopt;
            arguments.port = static_cast<std::uint16_t>(*port);
        } else if (c == 'e') {
            arguments.log_to_stderr = true;
        } else if (c != 'f') {
            return std::nullopt;
        }
    }
    if (optind != argc) return std::nullopt;
    return arguments;
}

/// The address that the daemon wrote when it chose one; empty when it has not.
std::string AddressOfDaemon() {
    constexpr std::size_t kLongestAddress = 64;
    const std::optional<std::string> text = ReadWholeFile(SystemPath(kAddressFile), kLongestAddress);
    return text ? NLIBCStrTokIndex(*text, " \t\r\n", 0) : std::string();
}

void OpenLog(bool to_stderr, const std::string& level) {
    const std::string path = SystemPath(kGatewayLog);
    if (to_stderr) DMSLOGToStderr(true);
    if (!DMSLOGInit(path.c_str())) {
        DMSLOGToStderr(true);
        DMSPrintf(0, "could not open log file \"%s\"", path.c_str());
    }
    DMSLOGSetLevel(ToInt(level));
}

/// Every connection and every picture kept is a descriptor.
void RaiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

/// Waits for the signals of the set, which every thread has blocked: SIGHUP has the options read again, another one
/// ends it. @return that one.
int WaitForStop(ServiceOptions& options, const sigset_t& signals) {
    for (int signal = 0;;) {
        if (sigwait(&signals, &signal) != 0) continue;
        if (signal != SIGHUP) return signal;
        options.Read(0, nullptr);
        DMSLOGSetLevel(ToInt(options.Get(Option::kLogLevel)));
    }
}

/// @return exit status.
int ServeUntilStopped(const Arguments& arguments, ServiceOptions& options, const sigset_t& signals) {
    const std::string address = arguments.address.empty() ? AddressOfDaemon() : arguments.address;
    if (address.empty()) {
        DMSPrintf(0,
                  "could not read the media server's address from \"%s\": start the media server first, or name one "
                  "with --address",
                  SystemPath(kAddressFile).c_str());
        return 1;
    }
    MimeTable mime;
    LoadMimeTypes(mime);
    const bool everybody_is_served = options.Get(Option::kDisableAccessRight) == "yes";
    AccessRights access(SystemPath(kClientListFile));
    Gateway gateway(mime, arguments.port, kWorkers, options, everybody_is_served ? nullptr : &access);
    HttpServer::Config config;
    config.address = address;
    config.port = arguments.port;
    config.limits.workers = kWorkers;
    config.limits.stream_workers += Gateway::kStationsAtOnce;
    config.is_quick = [&](const HttpRequest& request) { return gateway.IsQuick(request); };
    config.server_header = "Linux UPnP/1.0 dms-gateway";
    HttpServer server(std::move(config), [&](const HttpRequest& request) { return gateway.Handle(request); });
    if (const int error = server.Start(); error != 0) {
        DMSPrintf(0, "could not listen on %s:%d: %s", address.c_str(), arguments.port, std::strerror(error));
        return 1;
    }
    DMSPrintf(2, "listening on %s:%d", address.c_str(), server.Port());
    DMSPrintf(2, "stopping on signal %d", WaitForStop(options, signals));
    server.Stop();
    return 0;
}

}  // namespace
}  // namespace MediaServer

int main(int argc, char** argv) {
    using namespace MediaServer;
    const auto arguments = ParseArguments(argc, argv);
    if (!arguments) return PrintUsage();
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    // Before the first thread, so that all inherit it.
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    RaiseDescriptorLimit();
    ServiceOptions options(SystemPath(kOptionFile));
    options.Read(0, nullptr);
    OpenLog(arguments->log_to_stderr, options.Get(Option::kLogLevel));
    const int status = ServeUntilStopped(*arguments, options, signals);
    DMSLogClose();
    return status;
}
