// The board the tool works on: opened through the host runtime's Fg_InitEx
// with the Orvindel applet, its parameter names and identities, and the
// RegisterInfo records the applet hands out for each port.
#ifndef APPLETCTL_BOARD_H
#define APPLETCTL_BOARD_H

#include <map>
#include <set>
#include <string>

#include "fg_types.h"

namespace appletctl {

extern const char* const kAppletName;
extern const char* const kAppletLibrary;

typedef int (*InfoFn)(const AppletInfos, const int, const int, void*, const void**);

class Board {
public:
    Board(unsigned index, int flags) : index_(index), flags_(flags) {}
    ~Board() { close(); }
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    // Opens the board on first use; false (with the message printed) on failure.
    bool open(const std::string& where);
    void close();
    bool isOpen() const { return fg_ != nullptr; }

    Fg_Struct* fg() const { return fg_; }
    InfoFn info() const { return info_; }
    unsigned index() const { return index_; }
    bool withDefaults() const { return (flags_ & 1) == 0; }

    // The parameter's identity, or a negative code. Accepts the name in any case.
    int idOf(const std::string& name);
    // The SDK name the applet gives an identity (the name as typed otherwise).
    std::string canonicalName(int id, const std::string& typed);
    // The record of an identity on a port (nullptr when the port has none).
    const RegisterInfo* record(unsigned port, int id);
    // Whether the port has any parameter description.
    bool hasRecords(unsigned port) { return !recordsOf(port).empty(); }
    // The number of ports (from Info; ports with records when Info is missing).
    unsigned portCount();
    // "port 2 does not exist (ports 0 and 1)", or empty when the port exists.
    std::string checkPort(unsigned port);

private:
    const std::map<int, const RegisterInfo*>& recordsOf(unsigned port);
    static void collect(const RegisterInfo* r, std::map<int, const RegisterInfo*>& m,
                        std::set<const RegisterInfo*>& seen, int depth);

    unsigned index_;
    int flags_;
    Fg_Struct* fg_ = nullptr;
    bool openFailed_ = false;
    void* lib_ = nullptr;
    InfoFn info_ = nullptr;
    std::map<unsigned, std::map<int, const RegisterInfo*>> records_;
};

}  // namespace appletctl

#endif  // APPLETCTL_BOARD_H
