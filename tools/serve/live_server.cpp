// The live view's server (see live_server.h): its start and stop, its address,
// the listening address a user gives.

#include "live_server.h"

#include <sys/stat.h>

#include <httplib.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>

#include "live_impl.h"
#include "text_util.h"

namespace appletctl {

namespace {

std::string randomToken() {
    std::random_device rd;
    static const char hex[] = "0123456789abcdef";
    std::string t;
    for (int i = 0; i < 8; ++i) {
        uint32_t v = rd();
        for (int k = 0; k < 8; ++k, v >>= 4) t += hex[v & 15];
    }
    return t;
}

}  // namespace

LiveServer::Impl::Impl(Board& b, const ServeOptions& o)
    : board(b), opt(o), token(o.token.empty() ? randomToken() : o.token), http(std::make_unique<httplib::Server>()) {}

LiveServer::Impl::~Impl() = default;

bool parseListen(const std::string& text, ServeOptions* o, std::string* why) {
    const size_t colon = text.rfind(':');
    std::string host = colon == std::string::npos ? "" : text.substr(0, colon);
    const std::string port = colon == std::string::npos ? "" : text.substr(colon + 1);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    char* end = nullptr;
    const long p = std::strtol(port.c_str(), &end, 10);
    if (host.empty() || port.empty() || *end || p < 0 || p > 65535 ||
        port.find_first_not_of("0123456789") != std::string::npos) {
        *why = "expected ADDRESS:PORT with a port 0..65535, not '" + visible(shorten(text)) + "'";
        return false;
    }
    o->address = host;
    o->port = static_cast<int>(p);
    return true;
}

LiveServer::LiveServer(Board& board, const ServeOptions& options) : impl_(new Impl(board, options)) {}

LiveServer::~LiveServer() { stop(); }

bool LiveServer::start(std::string* why) {
    Impl& m = *impl_;
    char* real = realpath(m.opt.directory.c_str(), nullptr);
    struct stat st;
    if (!real || stat(real, &st) != 0 || !S_ISDIR(st.st_mode)) {
        *why = "the directory " + m.opt.directory + " " + (real ? "is not a directory" : std::strerror(errno));
        std::free(real);
        return false;
    }
    m.directory = real;
    std::free(real);
    m.routes();
    m.boundPort = m.opt.port == 0 ? m.http->bind_to_any_port(m.opt.address)
                                  : (m.http->bind_to_port(m.opt.address, m.opt.port) ? m.opt.port : -1);
    if (m.boundPort <= 0) {
        *why = "cannot listen on " + m.opt.address + ":" + std::to_string(m.opt.port) + ": " + std::strerror(errno);
        return false;
    }
    m.polling = std::thread([&m] { m.poll(); });
    m.serving = std::thread([&m] { m.http->listen_after_bind(); });
    return true;
}

void LiveServer::stop() {
    Impl& m = *impl_;
    m.http->stop();
    if (m.serving.joinable()) m.serving.join();
    {
        std::lock_guard<std::mutex> g(m.lock);
        m.quit = true;
        for (unsigned p = 0; p < kPorts; ++p) m.stopAcquisition(p);
    }
    m.wake.notify_all();
    if (m.polling.joinable()) m.polling.join();
}

int LiveServer::port() const { return impl_->boundPort; }
const std::string& LiveServer::token() const { return impl_->token; }

std::string LiveServer::url() const {
    std::string host = impl_->opt.address == "0.0.0.0" ? "127.0.0.1" : impl_->opt.address;
    if (host.find(':') != std::string::npos) host = "[" + host + "]";
    return "http://" + host + ":" + std::to_string(port()) + "/?token=" + token();
}

}  // namespace appletctl
