// The live view's JSON parameter views (see live_impl.h): a port's parameter
// tree with each value, kind, range and access, and a write of one
// parameter from its text (a write that changes the frame restarts the
// port's acquisition).

#include <algorithm>
#include <cmath>
#include <iterator>

#include "error_text.h"
#include "live_impl.h"
#include "sim_board.h"
#include "text_util.h"
#include "values.h"

namespace appletctl {

namespace {

// The parameters that fix a running acquisition's frame: a write of one of
// them restarts the port's acquisition with buffers of the new size.
const char* const kFrameParameters[] = {"FG_WIDTH", "FG_HEIGHT", "FG_XOFFSET", "FG_FORMAT", "FG_BITALIGNMENT"};

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

}  // namespace

json LiveServer::Impl::paramJson(unsigned port, const RegisterInfo* r) {
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

json LiveServer::Impl::treeJson(unsigned port, const RegisterInfo* r, std::set<const RegisterInfo*>& seen, int depth) {
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

json LiveServer::Impl::tree(unsigned port) {
    json top = json::array();
    std::set<const RegisterInfo*> seen;
    for (const RegisterInfo* g = Fg_getParameterInfo(board.fg(), static_cast<int>(port)); g && seen.size() < 100000;
         g = g->next) {
        if (!seen.insert(g).second) break;
        top.push_back(treeJson(port, g, seen, 0));
    }
    return top;
}

json LiveServer::Impl::setParameter(unsigned port, const std::string& name, const std::string& text) {
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
    const bool frame =
        std::any_of(std::begin(kFrameParameters), std::end(kFrameParameters), [&](const char* n) { return name == n; });
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

}  // namespace appletctl
