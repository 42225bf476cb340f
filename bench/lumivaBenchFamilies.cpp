// The frame size and the family list, shared by the benchmark program and the lumiva
// command's bench, which differ only in how they time what `add` registers.
#include "lumivaBench.h"

namespace lmvbench {

namespace {

std::vector<Registrar>& registrars()
{
    static std::vector<Registrar> list;
    return list;
}

}  // namespace

FrameSize& frameSize()
{
    static FrameSize size;
    return size;
}

int registerFamily(Registrar registrar)
{
    registrars().push_back(registrar);
    return 0;
}

void registerAllFamilies()
{
    for (Registrar registrar : registrars()) registrar();
}

}  // namespace lmvbench
