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
    switch (r->format) {
    case REG_FORMAT_UINT:
        o << "UINT " << r->u.uiReg.from << ".." << r->u.uiReg.to << " step " << r->u.uiReg.steps;
        break;
    case REG_FORMAT_INT: o << "INT " << r->u.iReg.from << ".." << r->u.iReg.to << " step " << r->u.iReg.steps; break;
    case REG_FORMAT_UINT64:
        o << "UINT64 " << r->u.iReg64.from << ".." << r->u.iReg64.to << " step " << r->u.iReg64.steps;
        break;
    case REG_FORMAT_INT64:
        o << "INT64 " << static_cast<int64_t>(r->u.iReg64.from) << ".." << static_cast<int64_t>(r->u.iReg64.to)
          << " step " << static_cast<int64_t>(r->u.iReg64.steps);
        break;
    case REG_FORMAT_DOUBLE:
        o << "DOUBLE " << r->u.dReg.from << ".." << r->u.dReg.to << " step " << r->u.dReg.steps;
        break;
    case REG_FORMAT_UINTFIELD:
        o << "UINTFIELD " << r->u.uifReg.from << ".." << r->u.uifReg.to << " n " << r->u.uifReg.nrOfElements << " ["
          << r->u.uifReg.index << "] = " << r->u.uifReg.value;
        break;
    case REG_FORMAT_INTFIELD:
        o << "INTFIELD " << r->u.ifReg.from << ".." << r->u.ifReg.to << " n " << r->u.ifReg.nrOfElements << " ["
          << r->u.ifReg.index << "] = " << r->u.ifReg.value;
        break;
    case REG_FORMAT_DOUBLEFIELD:
        o << "DOUBLEFIELD " << r->u.dfReg.from << ".." << r->u.dfReg.to << " n " << r->u.dfReg.nrOfElements << " ["
          << r->u.dfReg.index << "] = " << r->u.dfReg.value;
        break;
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
