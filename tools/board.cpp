#include "board.h"

#include <dlfcn.h>

#include <string>

#include "error_text.h"
#include "output.h"
#include "sim_board.h"
#include "text_util.h"

namespace appletctl {

const char* const kAppletName = "Orvindel";
const char* const kAppletLibrary = "libOrvindel.so";

bool Board::open(const std::string& where) {
    if (fg_) return true;
    if (openFailed_) {
        err(where, "the board is not open");
        return false;
    }
    fg_ = Fg_InitEx(kAppletName, index_, flags_);
    if (!fg_) {
        openFailed_ = true;
        int code = Fg_getLastErrorNumber(nullptr);
        std::string msg =
            "cannot open board " + std::to_string(index_) + " with the applet " + kAppletName + ": " + errorText(code);
        if (code == FG_ERR_FILE_NOT_FOUND) msg += std::string(": ") + kAppletLibrary + " was not found";
        err(where, msg);
        return false;
    }
    // The runtime loaded the applet library; take Info from it.
    lib_ = dlopen(kAppletLibrary, RTLD_NOW | RTLD_NOLOAD);
    if (!lib_) lib_ = dlopen(kAppletLibrary, RTLD_NOW | RTLD_LOCAL);
    if (lib_) info_ = reinterpret_cast<InfoFn>(dlsym(lib_, "Info"));
    return true;
}

void Board::close() {
    if (fg_) Fg_FreeGrabber(fg_);
    fg_ = nullptr;
    if (lib_) dlclose(lib_);
    lib_ = nullptr;
    info_ = nullptr;
    records_.clear();
}

int Board::idOf(const std::string& name) {
    if (name.empty() || name.size() > 256) return FG_ERR_INVALID_PARAMETER;
    int id = Fg_getParameterIdByName(fg_, name.c_str());
    if (id >= 0) return id;
    std::string upper = upperCase(name);
    if (upper != name) {
        int id2 = Fg_getParameterIdByName(fg_, upper.c_str());
        if (id2 >= 0) return id2;
    }
    return id < 0 ? id : FG_ERR_INVALID_PARAMETER;
}

std::string Board::canonicalName(int id, const std::string& typed) {
    int n = Fg_getNrOfParameter(fg_);
    for (int i = 0; i < n && i < 100000; ++i) {
        if (Fg_getParameterId(fg_, i) == id) {
            const char* nm = Fg_getParameterName(fg_, i);
            if (nm) return nm;
        }
    }
    return typed;
}

const RegisterInfo* Board::record(unsigned port, int id) {
    const std::map<int, const RegisterInfo*>& m = recordsOf(port);
    std::map<int, const RegisterInfo*>::const_iterator it = m.find(id);
    return it == m.end() ? nullptr : it->second;
}

unsigned Board::portCount() {
    if (info_) {
        int n = info_(GET_NR_OF_PORTS, 0, 0, nullptr, nullptr);
        if (n > 0 && n < 64) return static_cast<unsigned>(n);
    }
    unsigned n = 0;
    while (n < 64 && hasRecords(n)) ++n;
    return n;
}

std::string Board::checkPort(unsigned port) {
    const unsigned n = portCount();
    if (port < n) return std::string();
    std::string ports;
    for (unsigned p = 0; p < n; ++p) {
        if (p) ports += p + 1 == n ? " and " : ", ";
        ports += std::to_string(p);
    }
    return "port " + std::to_string(port) + " does not exist (" +
           (n == 0 ? std::string("the applet describes no port") : (n == 1 ? "port " : "ports ") + ports) + ")";
}

const std::map<int, const RegisterInfo*>& Board::recordsOf(unsigned port) {
    std::map<unsigned, std::map<int, const RegisterInfo*>>::iterator it = records_.find(port);
    if (it != records_.end()) return it->second;
    std::map<int, const RegisterInfo*>& m = records_[port];
    if (port <= 0x7FFFFFFFu && fg_) {
        std::set<const RegisterInfo*> seen;
        for (const RegisterInfo* g = Fg_getParameterInfo(fg_, static_cast<int>(port)); g && seen.size() < 100000;
             g = g->next) {
            if (!seen.insert(g).second) break;
            collect(g, m, seen, 0);
        }
    }
    return m;
}

void Board::collect(const RegisterInfo* r, std::map<int, const RegisterInfo*>& m, std::set<const RegisterInfo*>& seen,
                    int depth) {
    if (r->format != REG_FORMAT_GROUP) {
        if (r->parameterName) m.emplace(r->id, r);
        return;
    }
    if (depth > 64 || r->u.gReg.elements == nullptr) return;
    for (int i = 0; i < r->u.gReg.nrOfElements && i < 100000; ++i) {
        const RegisterInfo* c = r->u.gReg.elements[i];
        if (c && seen.insert(c).second) collect(c, m, seen, depth + 1);
    }
}

}  // namespace appletctl
