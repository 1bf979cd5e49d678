// A registry record as one line of text, for tests that compare records.
#ifndef ORV_TESTS_RECORD_TEXT_H
#define ORV_TESTS_RECORD_TEXT_H

#include <cstdint>
#include <sstream>
#include <string>

#include "fg_types.h"

namespace orvtest {

inline std::string textOf(const char* t) { return t != NULL ? "'" + std::string(t) + "'" : std::string("null"); }

// The kind of a record and its value description: bounds and step, the size and
// first element of a field, the entries of an enumeration, a string with its
// file filter.
inline std::string valueText(const RegisterInfo* r) {
    std::ostringstream o;
    o.precision(17);
    const auto range = [&o](const char* kind, auto from, auto to, auto steps) {
        o << kind << " " << from << ".." << to << " step " << steps;
    };
    const auto field = [&o](const char* kind, const auto& f) {
        o << kind << " " << f.from << ".." << f.to << " n " << f.nrOfElements << " [" << f.index << "] = " << f.value;
    };
    const IntReg64& w = r->u.iReg64;
    switch (r->format) {
    case REG_FORMAT_UINT: range("UINT", r->u.uiReg.from, r->u.uiReg.to, r->u.uiReg.steps); break;
    case REG_FORMAT_INT: range("INT", r->u.iReg.from, r->u.iReg.to, r->u.iReg.steps); break;
    case REG_FORMAT_UINT64: range("UINT64", w.from, w.to, w.steps); break;
    case REG_FORMAT_INT64: range("INT64", int64_t(w.from), int64_t(w.to), int64_t(w.steps)); break;
    case REG_FORMAT_DOUBLE: range("DOUBLE", r->u.dReg.from, r->u.dReg.to, r->u.dReg.steps); break;
    case REG_FORMAT_UINTFIELD: field("UINTFIELD", r->u.uifReg); break;
    case REG_FORMAT_INTFIELD: field("INTFIELD", r->u.ifReg); break;
    case REG_FORMAT_DOUBLEFIELD: field("DOUBLEFIELD", r->u.dfReg); break;
    case REG_FORMAT_STRING:
        o << "STRING " << textOf(r->u.sReg.string) << " ext " << textOf(r->u.sReg.FileExtension) << " len "
          << r->u.sReg.strLen;
        break;
    case REG_FORMAT_ENUM:
        o << "ENUM";
        for (int i = 0; i < r->u.eReg.nrOfElements; ++i)
            o << " " << (r->u.eReg.enumValues ? r->u.eReg.enumValues[i] : 0) << "="
              << textOf(r->u.eReg.enumNames ? r->u.eReg.enumNames[i] : NULL);
        break;
    default: o << "format " << r->format;
    }
    return o.str();
}

// The whole record: display name, SDK name, unit, access/range/visibility
// flags, identity, port, then its value description.
inline std::string recordText(const RegisterInfo* r) {
    if (r == NULL) return "none";
    std::ostringstream o;
    o << textOf(r->name) << " " << textOf(r->parameterName) << " unit " << textOf(r->unit) << " flags "
      << r->accessFlags << "/" << r->rangeFlags << "/" << r->visibilityFlags << " id " << r->id << " port " << r->port
      << ": " << valueText(r);
    return o.str();
}

}  // namespace orvtest

#endif
