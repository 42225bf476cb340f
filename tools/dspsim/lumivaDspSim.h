// The simulator's view of one call: its arguments, checked before any kernel sees them.
// The generated unpacking of each operation reads them through this and refuses a call
// whose shape, lengths or arguments are wrong.
#ifndef LUMIVA_DSP_SIM_H
#define LUMIVA_DSP_SIM_H

#include "lumivaDspWire.h"

#include <cstring>
#include <string>
#include <vector>

struct ILMV_SIM_ARG {
    uint32_t kind;       // kArgScalar, kArgBuffer, kArgShared or kArgNull
    uint32_t direction;
    uint64_t bits;       // a scalar's value
    uint8_t* data;       // a buffer's bytes here (copied or in a mapped block); null for kArgNull
    uint64_t bytes;
};

class ILMV_SIM_CALL {
public:
    explicit ILMV_SIM_CALL(std::vector<ILMV_SIM_ARG>& args) : args_(args) {}

    // True when the arguments are, in order, buffers ('b') and scalars ('s') as listed.
    bool shaped(const char* kinds) const
    {
        if (std::strlen(kinds) != args_.size()) return false;
        for (size_t i = 0; i < args_.size(); ++i)
            if ((kinds[i] == 's') != (args_[i].kind == kArgScalar)) return false;
        return true;
    }

    size_t count() const { return args_.size(); }
    uint64_t bytes(size_t i) const { return args_[i].bytes; }

    template <class T>
    T* buffer(size_t i) const
    {
        return reinterpret_cast<T*>(args_[i].data);
    }

    template <class T>
    T scalar(size_t i) const
    {
        T value;
        std::memcpy(&value, &args_[i].bits, sizeof value);
        return value;
    }

    // Buffer i, declared `length` elements of `elemSize`, covers the `span` bytes the call
    // reaches; an absent buffer passes only where the operation allows one to be null.
    bool holds(size_t i, uint64_t length, uint64_t elemSize, uint64_t span, bool optional) const
    {
        const ILMV_SIM_ARG& a = args_[i];
        if (!a.data) return optional;
        return a.bytes >= span && length * elemSize >= span && elemSize <= 8;
    }

private:
    std::vector<ILMV_SIM_ARG>& args_;
};

struct ILMV_SIM_OP {
    const char* name;
    int (*serve)(ILMV_SIM_CALL& call);
};

extern const ILMV_SIM_OP ilmvSimOps[];
extern const size_t ilmvSimOpCount;

// ---- The server side --------------------------------------------------------------------
// One simulator per process: its domain, and whether control commands (faults, statistics)
// are taken; the decoder's fuzz target refuses them.
void ilmvSimInit(const std::string& domain, bool controlAllowed);
// Faults to start with: control commands separated by ';'.
void ilmvSimApplyFaults(const std::string& list);
// A client on a connected descriptor, served one message at a time; false when the client is
// to be dropped (it hung up, or sent something out of step). Release does not close `fd`.
struct ILMV_SIM_CLIENT;
ILMV_SIM_CLIENT* ilmvSimClient(int fd);
bool ilmvSimServeOne(ILMV_SIM_CLIENT* client);
void ilmvSimRelease(ILMV_SIM_CLIENT* client);

#endif
