#include "live_server.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <httplib.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "board.h"
#include "error_text.h"
#include "image_files.h"
#include "sim_board.h"
#include "text_util.h"
#include "values.h"

namespace appletctl {

extern const char* const kLivePage;
extern const unsigned long kLivePageSize;

namespace {

using json = nlohmann::json;
using Clock = std::chrono::steady_clock;

const int kPorts = 2;
const unsigned kMaxGrab = 1000;
const size_t kMaxBody = 64 * 1024;

// The parameters that fix a running acquisition's frame: a write of one of
// them restarts the port's acquisition with buffers of the new size.
const char* const kFrameParameters[] = {"FG_WIDTH", "FG_HEIGHT", "FG_XOFFSET", "FG_FORMAT", "FG_BITALIGNMENT"};

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

// A configuration value as a JSON value of its kind.
json valueJson(const Value& v, const RegisterInfo* r) {
    switch (v.kind) {
    case Kind::UInt32:
    case Kind::UInt64:
    case Kind::Enum: return v.u;
    case Kind::Int32:
    case Kind::Int64: return v.i;
    case Kind::Double: return std::isfinite(v.d) ? json(v.d) : json(showValue(v, r, false));
    case Kind::Text: return toUtf8(v.text);
    default: return showValue(v, r, false);
    }
}

void rangeJson(const RegisterInfo* r, json& j) {
    switch (r->format) {
    case REG_FORMAT_UINT: j["min"] = r->u.uiReg.from, j["max"] = r->u.uiReg.to, j["step"] = r->u.uiReg.steps; break;
    case REG_FORMAT_INT: j["min"] = r->u.iReg.from, j["max"] = r->u.iReg.to, j["step"] = r->u.iReg.steps; break;
    case REG_FORMAT_UINT64:
        j["min"] = r->u.iReg64.from, j["max"] = r->u.iReg64.to, j["step"] = r->u.iReg64.steps;
        break;
    case REG_FORMAT_INT64:
        j["min"] = static_cast<int64_t>(r->u.iReg64.from), j["max"] = static_cast<int64_t>(r->u.iReg64.to);
        j["step"] = static_cast<int64_t>(r->u.iReg64.steps);
        break;
    case REG_FORMAT_DOUBLE:
        if (std::isfinite(r->u.dReg.from) && std::isfinite(r->u.dReg.to))
            j["min"] = r->u.dReg.from, j["max"] = r->u.dReg.to;
        break;
    case REG_FORMAT_ENUM: {
        json entries = json::array();
        const EnumReg& e = r->u.eReg;
        for (int i = 0; e.enumValues && i < e.nrOfElements && i < 100000; ++i) {
            entries.push_back({{"constant", enumConstant(r, i)},
                               {"display", e.enumNames && e.enumNames[i] ? toUtf8(e.enumNames[i]) : enumConstant(r, i)},
                               {"value", static_cast<uint32_t>(e.enumValues[i])}});
        }
        j["entries"] = entries;
        break;
    }
    default: break;
    }
}

struct PortState {
    dma_mem* ring = nullptr;
    FgFrameFormat format{};
    bool running = false;
    frameindex_t last = 0;  // newest complete picture
    uint64_t lost = 0;
    double fps = 0;
    frameindex_t rateFrom = 0;  // picture and time the rate is measured from
    Clock::time_point rateSince;
    std::vector<unsigned char> copy;  // the newest picture as served
};

}  // namespace

struct LiveServer::Impl {
    Board& board;
    ServeOptions opt;
    std::string token;
    std::string directory;  // resolved
    int boundPort = 0;
    httplib::Server http;
    std::thread serving, polling;
    std::mutex lock;  // every board access
    std::condition_variable wake;
    bool quit = false;
    PortState ports[kPorts];

    Impl(Board& b, const ServeOptions& o) : board(b), opt(o), token(o.token.empty() ? randomToken() : o.token) {}

    // ---- access -----------------------------------------------------------------

    // The names this server answers to: an IP literal or localhost (and the
    // machine's own name when listening beyond the loopback), with our port.
    bool hostAllowed(const std::string& hostPort) const {
        const size_t colon = hostPort.rfind(':');
        if (colon == std::string::npos || hostPort.substr(colon + 1) != std::to_string(boundPort)) return false;
        const std::string host = lowerCase(hostPort.substr(0, colon));
        if (host == "localhost" || isIpLiteral(host)) return true;
        char name[256] = {0};
        const bool loopback = opt.address == "127.0.0.1" || opt.address == "localhost" || opt.address == "::1";
        return !loopback && gethostname(name, sizeof name - 1) == 0 && host == lowerCase(name);
    }

    static std::string lowerCase(std::string s) {
        for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return s;
    }

    // Refuses what is not ours before any handler runs.
    httplib::Server::HandlerResponse admit(const httplib::Request& req, httplib::Response& res) {
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
    }

    // A file of the named directory: a plain name, no path, no hidden file, no
    // link leading elsewhere. Empty with the reason otherwise.
    std::string fileIn(const std::string& name, std::string* why) const {
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

    // ---- parameters ---------------------------------------------------------------

    json paramJson(unsigned port, const RegisterInfo* r) {
        json j;
        j["name"] = visible(r->parameterName);
        j["display"] = r->name ? toUtf8(r->name) : visible(r->parameterName);
        j["id"] = r->id;
        j["kind"] = kindText(r);
        j["access"] = accessText(r);
        j["unit"] = r->unit ? toUtf8(r->unit) : "";
        j["range"] = rangeText(r);
        const Kind k = kindOf(r);
        j["type"] = k == Kind::Enum   ? "enum"
                    : k == Kind::Text ? "text"
                    : (k == Kind::UIntField || k == Kind::IntField || k == Kind::DoubleField || k == Kind::Unsupported)
                        ? "field"
                    : k == Kind::Double ? "double"
                                        : "integer";
        rangeJson(r, j);
        if (r->accessFlags & 1) {
            const Value v = readValue(board, r->id, port, r);
            if (v.code) {
                j["error"] = errorText(v.code);
            } else {
                j["value"] = valueJson(v, r);
                j["shown"] = v.kind == Kind::Text ? toUtf8(v.text) : showValue(v, r, false);
            }
        }
        return j;
    }

    json treeJson(unsigned port, const RegisterInfo* r, std::set<const RegisterInfo*>& seen, int depth) {
        json j;
        if (r->format != REG_FORMAT_GROUP) return paramJson(port, r);
        j["group"] = r->name ? toUtf8(r->name) : "";
        json children = json::array();
        for (int i = 0; depth < 32 && r->u.gReg.elements && i < r->u.gReg.nrOfElements && i < 100000; ++i) {
            const RegisterInfo* c = r->u.gReg.elements[i];
            if (c && seen.insert(c).second) {
                json cj = treeJson(port, c, seen, depth + 1);
                if (!cj.is_null()) children.push_back(std::move(cj));
            }
        }
        j["children"] = children;
        return j;
    }

    json tree(unsigned port) {
        json top = json::array();
        std::set<const RegisterInfo*> seen;
        for (const RegisterInfo* g = Fg_getParameterInfo(board.fg(), static_cast<int>(port)); g && seen.size() < 100000;
             g = g->next) {
            if (!seen.insert(g).second) break;
            top.push_back(treeJson(port, g, seen, 0));
        }
        return top;
    }

    json setParameter(unsigned port, const std::string& name, const std::string& text) {
        const int id = board.idOf(name);
        if (id < 0)
            return {{"ok", false},
                    {"code", id},
                    {"message", errorText(id) + ": no parameter named '" + visible(shorten(name, 80)) + "'"}};
        const RegisterInfo* r = board.record(port, id);
        Written w;
        std::string why;
        if (!parseValue(text, r, &w, &why))
            return {{"ok", false}, {"message", "bad value '" + visible(shorten(text, 80)) + "': " + why}};
        const bool frame = std::any_of(std::begin(kFrameParameters), std::end(kFrameParameters),
                                       [&](const char* n) { return name == n; });
        const bool restart = frame && ports[port].running;
        if (restart) stopAcquisition(port);
        const int rc = Fg_setParameterWithType(board.fg(), id, w.ptr(), port, w.type);
        json out{{"ok", rc == 0}, {"code", rc}};
        if (rc != 0) {
            out["message"] = errorText(rc);
            out["range"] = rangeText(board.record(port, id));
        }
        if (restart) out["restart"] = startAcquisition(port);
        const Value v = readValue(board, id, port, r);
        if (v.code == 0) out["shown"] = showValue(v, r, false);
        return out;
    }

    // ---- acquisition ------------------------------------------------------------

    json startAcquisition(unsigned port) {
        PortState& p = ports[port];
        if (p.running) return {{"ok", true}, {"message", "port " + std::to_string(port) + " acquiring"}};
        Fg_Struct* fg = board.fg();
        int rc = Fg_getFrameFormatEx(fg, static_cast<int>(port), &p.format);
        if (rc == 0) {
            p.ring = Fg_AllocRingEx(fg, static_cast<size_t>(p.format.frameBytes), opt.buffers);
            if (!p.ring) rc = Fg_getLastErrorNumber(nullptr);
        }
        if (rc == 0) {
            rc = Fg_AcquireEx(fg, static_cast<int>(port), 0, 0, p.ring);
            if (rc != 0) {
                Fg_FreeRingEx(fg, p.ring);
                p.ring = nullptr;
            }
        }
        if (rc != 0) return {{"ok", false}, {"code", rc}, {"message", "acquisition start: " + errorText(rc)}};
        p.running = true;
        p.last = p.rateFrom = 0;
        p.lost = 0;
        p.fps = 0;
        p.rateSince = Clock::now();
        p.copy.assign(static_cast<size_t>(p.format.frameBytes), 0);
        return {{"ok", true}, {"message", "port " + std::to_string(port) + " acquiring"}};
    }

    void stopAcquisition(unsigned port) {
        PortState& p = ports[port];
        if (!p.running) return;
        Fg_stopAcquireEx(board.fg(), static_cast<int>(port), p.ring, 0);
        Fg_FreeRingEx(board.fg(), p.ring);
        p.ring = nullptr;
        p.running = false;
        p.fps = 0;
    }

    // Takes every picture as it arrives (so that only pictures the server
    // could not keep up with count as lost) and measures the rate.
    void poll() {
        std::unique_lock<std::mutex> g(lock);
        while (!quit) {
            for (unsigned port = 0; port < kPorts; ++port) {
                PortState& p = ports[port];
                if (!p.running) continue;
                const frameindex_t last = Fg_getStatusEx(board.fg(), SIM_STATUS_LAST_PICTURE, 0, port, p.ring);
                if (last > p.last) {
                    Fg_getPicturePtrEx(board.fg(), last, static_cast<int>(port), p.ring);
                    p.last = last;
                }
                const frameindex_t lost = Fg_getStatusEx(board.fg(), SIM_STATUS_LOST, 0, port, p.ring);
                if (lost >= 0) p.lost = static_cast<uint64_t>(lost);
                const double dt = std::chrono::duration<double>(Clock::now() - p.rateSince).count();
                if (dt >= 0.5) {
                    p.fps = (p.last - p.rateFrom) / dt;
                    p.rateFrom = p.last;
                    p.rateSince = Clock::now();
                }
            }
            const bool any =
                std::any_of(std::begin(ports), std::end(ports), [](const PortState& p) { return p.running; });
            wake.wait_for(g, std::chrono::milliseconds(any ? 2 : 50));
        }
    }

    json status() {
        json out = json::array();
        for (unsigned port = 0; port < kPorts; ++port) {
            const PortState& p = ports[port];
            json j{{"port", port}, {"running", p.running}, {"frames", p.last}, {"lost", p.lost}, {"fps", p.fps}};
            if (p.running) {
                j["width"] = p.format.width, j["height"] = p.format.height, j["bits"] = p.format.bitsPerPixel;
            }
            out.push_back(j);
        }
        return out;
    }

    // The newest picture into the port's copy; its number, or 0 when none.
    frameindex_t copyNewest(unsigned port, void* into = nullptr) {
        PortState& p = ports[port];
        if (!p.running) return 0;
        const frameindex_t n =
            Fg_copyPictureEx(board.fg(), 0, static_cast<int>(port), into ? into : p.copy.data(), p.copy.size(), p.ring);
        if (n > p.last) p.last = n;
        return n > 0 ? n : 0;
    }

    json grab(std::unique_lock<std::mutex>& g, unsigned port, unsigned count, const std::string& prefix) {
        std::string why;
        if (fileIn(prefix + "-0001.pgm", &why).empty()) return {{"ok", false}, {"message", why}};
        if (!ports[port].running)
            return {{"ok", false}, {"message", "port " + std::to_string(port) + " is not acquiring"}};
        json files = json::array();
        frameindex_t previous = ports[port].last;
        for (unsigned i = 1; i <= count; ++i) {
            const Clock::time_point until = Clock::now() + std::chrono::seconds(5);
            frameindex_t n = 0;
            while (ports[port].running && (n = copyNewest(port)) <= previous && Clock::now() < until) {
                wake.wait_for(g, std::chrono::milliseconds(2));
            }
            if (!ports[port].running || n <= previous) {
                return {{"ok", false},
                        {"files", files},
                        {"message", "no new frame within 5 s after " + std::to_string(files.size()) + " files"}};
            }
            previous = n;
            char suffix[32];
            std::snprintf(suffix, sizeof suffix, "-%04u.pgm", i);
            const std::string path = fileIn(prefix + suffix, &why);
            const FgFrameFormat& f = ports[port].format;
            const PixelLayout layout{f.bitsPerPixel, f.bytesPerPixel, f.leftAligned != 0};
            if (path.empty() ||
                !writeImageFile(path, ImageType::Pgm, layout, f.width, f.height, ports[port].copy.data(), &why)) {
                return {{"ok", false}, {"files", files}, {"message", why}};
            }
            files.push_back(prefix + suffix);
        }
        return {{"ok", true}, {"files", files}};
    }

    // Runs `f` with every running port stopped and restarts them afterwards
    // (a configuration load may change their frames).
    json withPortsStopped(const std::function<json()>& f) {
        std::vector<unsigned> was;
        for (unsigned p = 0; p < kPorts; ++p) {
            if (ports[p].running) was.push_back(p), stopAcquisition(p);
        }
        json out = f();
        for (unsigned p : was) startAcquisition(p);
        return out;
    }

    json files() {
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

    // ---- routes -------------------------------------------------------------------

    static bool portOf(const std::string& s, unsigned* port) {
        return s.size() == 1 && s[0] >= '0' && s[0] < '0' + kPorts && (*port = static_cast<unsigned>(s[0] - '0'), true);
    }

    void routes() {
        http.set_payload_max_length(kMaxBody);
        http.set_pre_routing_handler([this](const httplib::Request& q, httplib::Response& r) { return admit(q, r); });
        auto reply = [](httplib::Response& res, const json& j) {
            if (j.is_object() && j.contains("ok") && !j["ok"].get<bool>() && res.status == -1) res.status = 400;
            res.set_content(j.dump(-1, ' ', false, json::error_handler_t::replace), "application/json");
        };
        http.Get("/", [](const httplib::Request&, httplib::Response& res) {
            res.set_header("Content-Security-Policy",
                           "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; "
                           "connect-src 'self'; img-src 'self' data:; base-uri 'none'; form-action 'none'");
            res.set_content(kLivePage, kLivePageSize, "text/html; charset=utf-8");
        });
        http.Get("/api/board", [this, reply](const httplib::Request&, httplib::Response& res) {
            std::lock_guard<std::mutex> g(lock);
            json j{{"board", board.index()}, {"directory", directory}, {"ports", json::array()}};
            for (unsigned p = 0; p < kPorts && p < board.portCount(); ++p) j["ports"].push_back(p);
            reply(res, j);
        });
        http.Get("/api/params", [this, reply](const httplib::Request& req, httplib::Response& res) {
            unsigned port = 0;
            if (!portOf(req.get_param_value("port"), &port))
                return reply(res, {{"ok", false}, {"message", "no such port"}});
            std::lock_guard<std::mutex> g(lock);
            reply(res, tree(port));
        });
        http.Get("/api/status", [this, reply](const httplib::Request&, httplib::Response& res) {
            std::lock_guard<std::mutex> g(lock);
            reply(res, status());
        });
        http.Get("/api/files", [this, reply](const httplib::Request&, httplib::Response& res) { reply(res, files()); });
        // The newest picture as raw bytes, its geometry in headers; 204 when
        // there is none newer than `after`.
        http.Get("/api/image", [this, reply](const httplib::Request& req, httplib::Response& res) {
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
                    return reply(res,
                                 {{"ok", false}, {"message", "port " + std::to_string(port) + " is not acquiring"}});
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
            http.Post(path, [this, reply, f](const httplib::Request& req, httplib::Response& res) {
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
            if (rc != 0)
                return {{"ok", false}, {"code", rc}, {"message", "save " + path + ": " + errorText(rc, "save")}};
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
};

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
    m.boundPort = m.opt.port == 0 ? m.http.bind_to_any_port(m.opt.address)
                                  : (m.http.bind_to_port(m.opt.address, m.opt.port) ? m.opt.port : -1);
    if (m.boundPort <= 0) {
        *why = "cannot listen on " + m.opt.address + ":" + std::to_string(m.opt.port) + ": " + std::strerror(errno);
        return false;
    }
    m.polling = std::thread([&m] { m.poll(); });
    m.serving = std::thread([&m] { m.http.listen_after_bind(); });
    return true;
}

void LiveServer::stop() {
    Impl& m = *impl_;
    m.http.stop();
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
