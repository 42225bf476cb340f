"""The GPU half of the generator: the G form of every operation whose description names a
GPU engine. A G form calls its engine on the caller's buffers; an engine that cannot take
the call (no GPU system, buffers not from lmvSharedMemAllocG, a size its kernel cannot carry)
returns a non-zero code, which is logged at debug priority, and the SIMD form runs instead.
"""

from lmvdesc import STATUS, VOID


def add_gpu_forms(ops):
    for o in ops:
        if o.gpu_engine and not o.has_form("G"):
            o.forms += "G"


def engine_call(o):
    if "(" in o.gpu_engine:
        return o.gpu_engine
    return f"{o.gpu_engine}({', '.join(p.name for p in o.params)})"


def gpu_form(o, signature):
    # Engines return their own code: an operation without a result, or a status one (whose
    # engine refuses what the SIMD form would answer with a status), can have a G form.
    assert o.ret in (VOID, STATUS), f"{o.name}: a G form for an operation with a result needs its engine to return it"
    args = ", ".join(p.name for p in o.params)
    done, rest = ("return", f"{o.simd()}({args});") if o.ret == VOID else \
        ("return LUMIVA_SUCCESS", f"return {o.simd()}({args});")
    return (f"LMV_EXPORT {signature(o, o.name + 'G')}\n{{\n    const int code = {engine_call(o)};\n"
            f"    if (code == 0)\n        {done};\n    ilmvGpuDeclined(\"{o.name}G\", code);\n    {rest}\n}}\n\n")


def gen_gpu_forms(ops, banner, signature):
    with_gpu = [o for o in ops if o.has_form("G")]
    forms = "".join(gpu_form(o, signature) for o in with_gpu)
    return (f"{banner(with_gpu)}\n#include \"lumivaKernels.h\"\n#include \"lumiva/lumivaGpu.h\"\n"
            f"#include \"platform/lumivaPlatform.h\"\n\nnamespace {{\n\n"
            f"void ilmvGpuDeclined(const char* form, int code)\n{{\n"
            f"    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, \"%s: GPU engine returned %d, running SIMD\\n\", form, code);\n"
            f"}}\n\n}}  // namespace\n\nextern \"C\" {{\n\n{forms}}}  // extern \"C\"\n")
