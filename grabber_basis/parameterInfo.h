// Fg_ParameterInfo: the descriptions of the user-visible parameters, one tree
// of RegisterInfo records per port slot.
//
// The top level of a slot is a doubly linked list of groups (through next and
// previous), newest first. A group holds its children (parameters and nested
// groups) in its elements array at their index. Records and every text in
// them are owned by the registry: they are handed to the host runtime as they
// are and stay valid until the registry is destroyed. Every text and every
// group's array of children is a C allocation of its own; the records and
// the enumeration arrays are carved from an arena per slot (Fg_Arena, given
// back as a whole when the slot is destroyed), since every board builds some
// hundreds of them when it opens.
#ifndef FG_PARAMETER_INFO_H
#define FG_PARAMETER_INFO_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Fg_Arena.h"
#include "fg_types.h"

class Fg_ParameterInfo {
public:
    enum { NR_OF_PORTS = 4 };

    Fg_ParameterInfo();
    ~Fg_ParameterInfo();

    // A group at the top level of the slot (parent NULL) or nested in a
    // parent group. NULL when the slot is finalized or the parent is no group.
    RegisterInfo* addGroupInfo(int port, RegisterInfo* parent, const char* name);

    // Parameters under a parent group. NULL when the slot is finalized, the
    // parent is missing or no group, or the SDK name is missing.
    RegisterInfo* addInfoInt(RegisterInfo* parent, const char* name, const char* paramName, int from, int to, int steps,
                             int accessFlags, int rangeFlags, int visibilityFlags, const char* unit, int id, int port);
    RegisterInfo* addInfoUInt(RegisterInfo* parent, const char* name, const char* paramName, unsigned int from,
                              unsigned int to, unsigned int steps, int accessFlags, int rangeFlags, int visibilityFlags,
                              const char* unit, int id, int port);
    RegisterInfo* addInfoInt64(RegisterInfo* parent, const char* name, const char* paramName, int64_t from, int64_t to,
                               int64_t steps, int accessFlags, int rangeFlags, int visibilityFlags, const char* unit,
                               int id, int port);
    RegisterInfo* addInfoUInt64(RegisterInfo* parent, const char* name, const char* paramName, uint64_t from,
                                uint64_t to, uint64_t steps, int accessFlags, int rangeFlags, int visibilityFlags,
                                const char* unit, int id, int port);
    RegisterInfo* addInfoDouble(RegisterInfo* parent, const char* name, const char* paramName, double from, double to,
                                double steps, int accessFlags, int rangeFlags, int visibilityFlags, const char* unit,
                                int id, int port);
    // Fields keep from, to and the number of elements; the element index and
    // the value start at 0 and from. The step is not kept.
    RegisterInfo* addInfoIntField(RegisterInfo* parent, const char* name, const char* paramName, int size, int from,
                                  int to, int steps, int accessFlags, int rangeFlags, int visibilityFlags,
                                  const char* unit, int id, int port);
    RegisterInfo* addInfoUIntField(RegisterInfo* parent, const char* name, const char* paramName, int size,
                                   unsigned int from, unsigned int to, unsigned int steps, int accessFlags,
                                   int rangeFlags, int visibilityFlags, const char* unit, int id, int port);
    RegisterInfo* addInfoDoubleField(RegisterInfo* parent, const char* name, const char* paramName, int size,
                                     double from, double to, double steps, int accessFlags, int rangeFlags,
                                     int visibilityFlags, const char* unit, int id, int port);
    // An enumeration with nrOfElements empty entries (no names, value 0),
    // filled afterwards with addEnumNameValue.
    RegisterInfo* addInfoEnum(RegisterInfo* parent, const char* name, const char* paramName, int nrOfElements,
                              int accessFlags, int rangeFlags, int visibilityFlags, const char* unit, int id, int port);
    RegisterInfo* addInfoString(RegisterInfo* parent, const char* name, const char* paramName, const char* fileExt,
                                int accessFlags, int rangeFlags, int visibilityFlags, const char* unit, int id,
                                int port);

    // Fills entry `element` of an enumeration record: display name, value and
    // (optionally) the SDK constant name. 0 on success; -500 when the name
    // cannot be copied; -2070 for a missing or non-enumeration record, an
    // entry outside the record or a missing name.
    int addEnumNameValue(RegisterInfo* reg, int element, const char* name, int value, const char* defname);

    // Closes the slot: every later add answers NULL.
    void finalize(int port);

    // The slot's first (newest) top-level group, NULL when there is none.
    RegisterInfo* getRegisterInfo(int Port);
    // NULL reg: the slot's first top-level group; otherwise reg->next.
    RegisterInfo* getNextRegisterInfo(RegisterInfo* reg, int Port);

    // Every record of the slot in creation order (empty for an unknown slot).
    const std::vector<RegisterInfo*>& records(int port) const;

private:
    Fg_ParameterInfo(const Fg_ParameterInfo&);
    Fg_ParameterInfo& operator=(const Fg_ParameterInfo&);

    void init(int port);
    void destroy(int port);

    static bool validPort(int port);
    // Allocates a cleared record of the given kind and registers it with the
    // slot; NULL when the slot is closed or memory is short.
    RegisterInfo* newRecord(int port, REG_FORMAT format);
    // The common part of every parameter record; NULL (and nothing attached)
    // when the parameter cannot be added.
    RegisterInfo* newParameter(RegisterInfo* parent, REG_FORMAT format, const char* name, const char* paramName,
                               int accessFlags, int rangeFlags, int visibilityFlags, const char* unit, int id,
                               int port);
    // A parameter record of the given kind whose variant `fill` completes
    // (false: it could not), attached to its parent; NULL and nothing kept
    // when any step fails.
    template <class Fill>
    RegisterInfo* addParameter(RegisterInfo* parent, REG_FORMAT format, const char* name, const char* paramName,
                               int accessFlags, int rangeFlags, int visibilityFlags, const char* unit, int id, int port,
                               Fill&& fill);
    // Drops the newest record of the slot (one that could not be completed).
    void discardNewest(int port);
    static bool attachToParent(RegisterInfo* parent, RegisterInfo* child);
    static void freeRecord(RegisterInfo* reg);

    // The memory of one slot's records, enumeration arrays and texts: given
    // back all at once when the slot is destroyed.
    class Pool {
    public:
        // `size` bytes, cleared, aligned for any record member; NULL when
        // memory is short.
        void* allocate(size_t size);
        // A copy of `text` (NULL for NULL); `failed` is set when a text was
        // given but could not be copied.
        char* copy(const char* text, bool& failed);
        void release() { arena_.release(); }

    private:
        Fg_Arena arena_;
    };

    RegisterInfo* mGlobRegInfo[NR_OF_PORTS];
    int groupAutoIndex;
    std::vector<RegisterInfo*> allRegInfo[NR_OF_PORTS];
    bool allRegFinalized[NR_OF_PORTS];
    Pool mPool[NR_OF_PORTS];
};

#endif
