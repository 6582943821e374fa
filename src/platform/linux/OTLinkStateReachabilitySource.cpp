#include "platform/linux/OTLinkStateReachabilitySource.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

namespace corvane {

namespace fs = std::filesystem;

namespace {
constexpr OTReachabilitySource::Flags kReachable = 2;

std::string firstLine(const fs::path& path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}
}  // namespace

OTLinkStateReachabilitySource::OTLinkStateReachabilitySource(fs::path interfaces)
    : interfaces_(std::move(interfaces)) {}

OTLinkStateReachabilitySource::~OTLinkStateReachabilitySource() {
    if (thread_.joinable()) {
        const std::uint64_t one = 1;
        if (::write(wakeup_, &one, sizeof one) < 0) {
            // The thread also leaves on its next wake-up; joining still ends.
        }
        thread_.join();
    }
    if (socket_ >= 0) ::close(socket_);
    if (wakeup_ >= 0) ::close(wakeup_);
}

std::optional<OTReachabilitySource::Flags> OTLinkStateReachabilitySource::flagsForInterfaces(
    const fs::path& interfaces) {
    std::error_code ec;
    fs::directory_iterator it(interfaces, ec);
    if (ec) return std::nullopt;
    for (const auto& entry : it) {
        const auto& base = entry.path();
        const auto flagsText = firstLine(base / "flags");
        unsigned long interfaceFlags = 0;
        try {
            interfaceFlags = std::stoul(flagsText, nullptr, 16);
        } catch (...) {
            continue;
        }
        if ((interfaceFlags & IFF_LOOPBACK) || !(interfaceFlags & IFF_UP)) continue;
        const auto state = firstLine(base / "operstate");
        // Virtual links often report "unknown" while they carry traffic.
        if (state == "up" || (state == "unknown" && firstLine(base / "carrier") == "1")) return kReachable;
    }
    return Flags{0};
}

std::optional<OTReachabilitySource::Flags> OTLinkStateReachabilitySource::currentFlags() {
    return flagsForInterfaces(interfaces_);
}

std::uint64_t OTLinkStateReachabilitySource::addObserver(Observer observer) {
    if (!observer) return 0;
    std::lock_guard lock(mutex_);
    if (!thread_.joinable() && !startWatching()) return 0;
    observers_.emplace_back(nextToken_, std::move(observer));
    return nextToken_++;
}

void OTLinkStateReachabilitySource::removeObserver(std::uint64_t token) {
    std::lock_guard lock(mutex_);
    std::erase_if(observers_, [&](const auto& entry) { return entry.first == token; });
}

bool OTLinkStateReachabilitySource::startWatching() {
    socket_ = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (socket_ < 0) return false;
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
    wakeup_ = ::eventfd(0, EFD_CLOEXEC);
    if (wakeup_ < 0 || ::bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(socket_);
        socket_ = -1;
        if (wakeup_ >= 0) ::close(wakeup_);
        wakeup_ = -1;
        return false;
    }
    thread_ = std::thread([this] { watch(); });
    return true;
}

void OTLinkStateReachabilitySource::watch() {
    std::vector<char> buffer(16384);
    std::optional<Flags> last = currentFlags();
    for (;;) {
        pollfd fds[2] = {{socket_, POLLIN, 0}, {wakeup_, POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0) continue;
        if (fds[1].revents != 0) return;
        if (fds[0].revents & (POLLERR | POLLHUP | POLLNVAL)) return;
        // The messages only say that something changed; the state is read again from the folder.
        if (::recv(socket_, buffer.data(), buffer.size(), 0) < 0) continue;
        const auto now = currentFlags();
        if (now == last) continue;
        last = now;
        notifyObservers();
    }
}

void OTLinkStateReachabilitySource::notifyObservers() {
    std::vector<Observer> targets;
    {
        std::lock_guard lock(mutex_);
        for (const auto& entry : observers_) targets.push_back(entry.second);
    }
    for (const auto& observer : targets) observer();
}

}  // namespace corvane
