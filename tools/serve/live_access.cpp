// The live view's access (see live_impl.h): only requests for our Host, from
// our own page and with the token reach a handler; only plain files of the
// named directory are read and written.

#include <sys/stat.h>
#include <unistd.h>

#include <httplib.h>

#include <algorithm>
#include <cctype>

#include "live_impl.h"
#include "text_util.h"

namespace appletctl {

namespace {

// Compares without leaking the position of the first difference.
bool sameSecret(const std::string& a, const std::string& b) {
    unsigned char diff = a.size() != b.size();
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0 && !a.empty();
}

bool isIpLiteral(const std::string& h) {
    if (h.size() > 2 && h.front() == '[' && h.back() == ']') {
        return h.find_first_not_of("0123456789abcdefABCDEF:.", 1) == h.size() - 1;
    }
    int dots = 0;
    for (char c : h) {
        if (c == '.')
            ++dots;
        else if (c < '0' || c > '9')
            return false;
    }
    return dots == 3;
}

std::string lowerCase(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

}  // namespace

bool LiveServer::Impl::hostAllowed(const std::string& hostPort) const {
    const size_t colon = hostPort.rfind(':');
    if (colon == std::string::npos || hostPort.substr(colon + 1) != std::to_string(boundPort)) return false;
    const std::string host = lowerCase(hostPort.substr(0, colon));
    if (host == "localhost" || isIpLiteral(host)) return true;
    char name[256] = {0};
    const bool loopback = opt.address == "127.0.0.1" || opt.address == "localhost" || opt.address == "::1";
    return !loopback && gethostname(name, sizeof name - 1) == 0 && host == lowerCase(name);
}

void LiveServer::Impl::admitOnlyOurs() {
    http->set_pre_routing_handler([this](const httplib::Request& req, httplib::Response& res) {
        auto refuse = [&](int status, const std::string& why) {
            res.status = status;
            res.set_content(json{{"ok", false}, {"message", why}}.dump(), "application/json");
            return httplib::Server::HandlerResponse::Handled;
        };
        const std::string host = req.get_header_value("Host");
        if (!hostAllowed(host)) return refuse(403, "refused: unknown Host '" + visible(shorten(host, 80)) + "'");
        if (req.has_header("Origin")) {
            const std::string origin = req.get_header_value("Origin");
            if (origin != "http://" + host)
                return refuse(403, "refused: cross-site request from '" + visible(shorten(origin, 80)) + "'");
        }
        if (req.get_header_value("Sec-Fetch-Site") == "cross-site") return refuse(403, "refused: cross-site request");
        std::string given = req.get_header_value("X-Token");
        if (given.empty()) given = req.get_param_value("token");
        if (!sameSecret(given, token)) return refuse(401, "refused: missing or wrong token");
        res.set_header("Cache-Control", "no-store");
        res.set_header("Referrer-Policy", "no-referrer");
        res.set_header("X-Content-Type-Options", "nosniff");
        res.set_header("X-Frame-Options", "DENY");
        return httplib::Server::HandlerResponse::Unhandled;
    });
}

std::string LiveServer::Impl::fileIn(const std::string& name, std::string* why) const {
    if (name.empty() || name.size() > 200 || name[0] == '.' || name.find_first_of("/\\") != std::string::npos ||
        std::any_of(name.begin(), name.end(),
                    [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; })) {
        *why = "refused: '" + visible(shorten(name, 80)) + "' is not a plain file name in " + directory;
        return std::string();
    }
    const std::string path = directory + "/" + name;
    struct stat st;
    if (lstat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
        *why = "refused: " + path + " is not a regular file";
        return std::string();
    }
    return path;
}

}  // namespace appletctl
