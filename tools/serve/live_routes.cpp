// The live view's HTTP routes (see live_impl.h): the page, the JSON API it
// calls, and the newest picture as raw bytes.

#include <dirent.h>

#include <httplib.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <functional>
#include <mutex>

#include "error_text.h"
#include "live_impl.h"
#include "text_util.h"

namespace appletctl {

extern const char* const kLivePage;
extern const unsigned long kLivePageSize;

namespace {

const unsigned kMaxGrab = 1000;
const size_t kMaxBody = 64 * 1024;

bool portOf(const std::string& s, unsigned* port) {
    return s.size() == 1 && s[0] >= '0' && s[0] < '0' + kPorts && (*port = static_cast<unsigned>(s[0] - '0'), true);
}

}  // namespace

json LiveServer::Impl::files() {
    json out = json::array();
    std::unique_ptr<DIR, int (*)(DIR*)> d(opendir(directory.c_str()), closedir);
    for (struct dirent* e; d && (e = readdir(d.get())) != nullptr && out.size() < 1000;) {
        const std::string n = e->d_name;
        if (n[0] == '.') continue;
        const size_t dot = n.rfind('.');
        const std::string ext = dot == std::string::npos ? "" : n.substr(dot);
        if (ext == ".mcf" || ext == ".lut" || ext == ".pgm") out.push_back(toUtf8(n));
    }
    std::sort(out.begin(), out.end());
    return out;
}

void LiveServer::Impl::routes() {
    http->set_payload_max_length(kMaxBody);
    admitOnlyOurs();
    auto reply = [](httplib::Response& res, const json& j) {
        if (j.is_object() && j.contains("ok") && !j["ok"].get<bool>() && res.status == -1) res.status = 400;
        res.set_content(j.dump(-1, ' ', false, json::error_handler_t::replace), "application/json");
    };
    http->Get("/", [](const httplib::Request&, httplib::Response& res) {
        res.set_header("Content-Security-Policy",
                       "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; "
                       "connect-src 'self'; img-src 'self' data:; base-uri 'none'; form-action 'none'");
        res.set_content(kLivePage, kLivePageSize, "text/html; charset=utf-8");
    });
    http->Get("/api/board", [this, reply](const httplib::Request&, httplib::Response& res) {
        std::lock_guard<std::mutex> g(lock);
        json j{{"board", board.index()}, {"directory", directory}, {"ports", json::array()}};
        for (unsigned p = 0; p < kPorts && p < board.portCount(); ++p) j["ports"].push_back(p);
        reply(res, j);
    });
    http->Get("/api/params", [this, reply](const httplib::Request& req, httplib::Response& res) {
        unsigned port = 0;
        if (!portOf(req.get_param_value("port"), &port))
            return reply(res, {{"ok", false}, {"message", "no such port"}});
        std::lock_guard<std::mutex> g(lock);
        reply(res, tree(port));
    });
    http->Get("/api/status", [this, reply](const httplib::Request&, httplib::Response& res) {
        std::lock_guard<std::mutex> g(lock);
        reply(res, status());
    });
    http->Get("/api/files", [this, reply](const httplib::Request&, httplib::Response& res) { reply(res, files()); });
    // The newest picture as raw bytes, its geometry in headers; 204 when
    // there is none newer than `after`.
    http->Get("/api/image", [this, reply](const httplib::Request& req, httplib::Response& res) {
        unsigned port = 0;
        if (!portOf(req.get_param_value("port"), &port))
            return reply(res, {{"ok", false}, {"message", "no such port"}});
        const long long after = std::atoll(req.get_param_value("after").c_str());
        std::string body;
        FgFrameFormat f;
        frameindex_t n;
        {
            std::lock_guard<std::mutex> g(lock);
            PortState& p = ports[port];
            if (!p.running)
                return reply(res, {{"ok", false}, {"message", "port " + std::to_string(port) + " is not acquiring"}});
            if (p.last <= after) {
                res.status = 204;
                return;
            }
            body.resize(p.copy.size());
            n = copyNewest(port, &body[0]);
            if (n <= 0) {
                res.status = 204;
                return;
            }
            f = p.format;
        }
        res.set_header("X-Frame", std::to_string(n));
        res.set_header("X-Width", std::to_string(f.width));
        res.set_header("X-Height", std::to_string(f.height));
        res.set_header("X-Bits", std::to_string(f.bitsPerPixel));
        res.set_header("X-Bytes-Per-Pixel", std::to_string(f.bytesPerPixel));
        res.set_header("X-Left-Aligned", std::to_string(f.leftAligned));
        res.set_content(std::move(body), "application/octet-stream");
    });
    // POST bodies are JSON objects.
    auto post = [this, reply](const char* path, std::function<json(const json&, std::unique_lock<std::mutex>&)> f) {
        http->Post(path, [this, reply, f](const httplib::Request& req, httplib::Response& res) {
            const json body = json::parse(req.body, nullptr, false);
            if (!body.is_object())
                return reply(res, {{"ok", false}, {"message", "the request body is not a JSON object"}});
            std::unique_lock<std::mutex> g(lock);
            try {
                reply(res, f(body, g));
            } catch (const json::exception& e) {
                reply(res, {{"ok", false}, {"message", std::string("malformed request: ") + e.what()}});
            }
        });
    };
    auto portIn = [](const json& b) {
        const unsigned p = b.at("port").get<unsigned>();
        if (p >= kPorts) throw json::other_error::create(501, "no such port", nullptr);
        return p;
    };
    post("/api/set", [this, portIn](const json& b, std::unique_lock<std::mutex>&) {
        return setParameter(portIn(b), b.at("name").get<std::string>(), b.at("value").get<std::string>());
    });
    post("/api/acquisition", [this, portIn](const json& b, std::unique_lock<std::mutex>&) -> json {
        const unsigned p = portIn(b);
        const std::string action = b.at("action").get<std::string>();
        if (action == "start") return startAcquisition(p);
        if (action == "stop")
            return stopAcquisition(p), json{{"ok", true}, {"message", "port " + std::to_string(p) + " stopped"}};
        return {{"ok", false}, {"message", "action must be start or stop"}};
    });
    post("/api/trigger", [this, portIn](const json& b, std::unique_lock<std::mutex>&) {
        json out = setParameter(portIn(b), "FG_SENDSOFTWARETRIGGER", "1");
        out["message"] = out["ok"].get<bool>() ? std::string("software trigger sent")
                                               : "software trigger: " + out["message"].get<std::string>();
        return out;
    });
    post("/api/config/save", [this](const json& b, std::unique_lock<std::mutex>&) -> json {
        std::string why;
        const std::string path = fileIn(b.at("file").get<std::string>(), &why);
        if (path.empty()) return {{"ok", false}, {"message", why}};
        const int rc = Fg_saveConfig(board.fg(), path.c_str());
        std::setlocale(LC_ALL, "C");
        if (rc != 0) return {{"ok", false}, {"code", rc}, {"message", "save " + path + ": " + errorText(rc, "save")}};
        return {{"ok", true}, {"message", "saved " + path}};
    });
    post("/api/config/load", [this](const json& b, std::unique_lock<std::mutex>&) -> json {
        std::string why;
        const std::string path = fileIn(b.at("file").get<std::string>(), &why);
        if (path.empty()) return {{"ok", false}, {"message", why}};
        return withPortsStopped([&]() -> json {
            const int rc = Fg_loadConfig(board.fg(), path.c_str());
            std::setlocale(LC_ALL, "C");
            if (rc != 0)
                return {{"ok", false}, {"code", rc}, {"message", "load " + path + ": " + errorText(rc, "load")}};
            return {{"ok", true}, {"message", "loaded " + path}};
        });
    });
    post("/api/lut", [this, portIn](const json& b, std::unique_lock<std::mutex>&) -> json {
        const unsigned p = portIn(b);
        std::string why;
        const std::string path = fileIn(b.at("file").get<std::string>(), &why);
        if (path.empty()) return {{"ok", false}, {"message", why}};
        json out = setParameter(p, "FG_LUT_CUSTOM_FILE", path);
        if (!out["ok"].get<bool>()) {
            out["message"] = "lookup table " + path + ": " + errorText(out["code"].get<int>(), "lut load");
            return out;
        }
        return setParameter(p, "FG_LUT_TYPE", "0");  // the user's table
    });
    post("/api/grab", [this, portIn](const json& b, std::unique_lock<std::mutex>& g) -> json {
        const unsigned count = b.at("count").get<unsigned>();
        if (count == 0 || count > kMaxGrab)
            return {{"ok", false}, {"message", "count must be 1.." + std::to_string(kMaxGrab)}};
        return grab(g, portIn(b), count, b.at("prefix").get<std::string>());
    });
}

}  // namespace appletctl
