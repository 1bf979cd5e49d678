// Output of appletctl: results on standard output, messages on standard
// error, each message naming where it comes from ("appletctl: get X: ...",
// "script.txt:3: ...").
#ifndef APPLETCTL_OUTPUT_H
#define APPLETCTL_OUTPUT_H

#include <string>
#include <vector>

namespace appletctl {

void out(const std::string& s);
// "<where>: <msg>" on standard error (standard output flushed first).
void err(const std::string& where, const std::string& msg);
// "<where>: warning: <msg>".
void warn(const std::string& where, const std::string& msg);

// Rows of cells as aligned columns (UTF-8 aware), each line ending in '\n'.
std::string columns(const std::vector<std::vector<std::string>>& rows, const std::string& indent = std::string());

}  // namespace appletctl

#endif  // APPLETCTL_OUTPUT_H
