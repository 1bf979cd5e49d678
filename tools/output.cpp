#include "output.h"

#include <algorithm>
#include <cstdio>

#include "text_util.h"

namespace appletctl {

void out(const std::string& s) { std::fwrite(s.data(), 1, s.size(), stdout); }

void err(const std::string& where, const std::string& msg) {
    std::fflush(stdout);
    std::string line = where.empty() ? msg : where + ": " + msg;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

void warn(const std::string& where, const std::string& msg) { err(where, "warning: " + msg); }

std::string columns(const std::vector<std::vector<std::string>>& rows, const std::string& indent) {
    std::vector<size_t> width;
    for (const auto& row : rows) {
        if (width.size() < row.size()) width.resize(row.size(), 0);
        for (size_t k = 0; k < row.size(); ++k) width[k] = std::max(width[k], displayWidth(row[k]));
    }
    std::string s;
    for (const auto& row : rows) {
        std::string line = indent;
        for (size_t k = 0; k < row.size(); ++k) {
            line += row[k];
            if (k + 1 < row.size()) line += std::string(width[k] - displayWidth(row[k]) + 2, ' ');
        }
        while (!line.empty() && line.back() == ' ') line.pop_back();
        s += line + '\n';
    }
    return s;
}

}  // namespace appletctl
