"""The remote half of the generator: from the same descriptions, the client's marshalling
forms, the stub interface both sides share, the host stub's packing functions and the
simulator's checked unpacking.

Every operation with a remote row (its own, or one of its hand-written entries') gets four
remote forms, X (the default domain), Xa, Xc and Xm, each a call of one marshalling
function, lmv<Op>X_abstractionLayer. The marshalled argument list keeps the public order:
every pointer is followed by its length in elements of its type, scalars pass as they are,
scalar outputs and the operation's own result are pointers to one element.
"""

import re

from lmvdesc import Image, Points, Scalar, ScalarOut, Size, Stride, STATUS, VOID

REMOTE_FORMS = ["X", "Xa", "Xc", "Xm"]


def is_remoted(o):
    return not o.internal and o.follows_slot is None and (
        o.remote is not None or any(e.remote for e in o.manual_entries)) and not getattr(o, "remote_by_hand", False)


def add_remote_forms(ops):
    """Gives every remoted operation its four remote forms (those marshalled by hand too)."""
    for o in ops:
        if (is_remoted(o) or o.remote_by_hand) and not o.has_form("X"):
            o.forms += "".join(REMOTE_FORMS)


def elem_size(p):
    return p.elem.size if isinstance(p, Image) else f"sizeof({p.ctype})"


def pointee(p):
    return p.elem.ctype if isinstance(p, Image) else p.ctype


def u64(expr, names):
    """`expr` with every parameter name widened to 64 bits, so spans cannot wrap."""
    return re.sub(r"\b[A-Za-z_]\w*\b", lambda m: f"(uint64_t){m.group(0)}" if m.group(0) in names else m.group(0),
                  expr)


def image_rows(img):
    return img.height if img.hdiv == 1 else f"{img._part(img.height, img.hdiv)}"


def length_expr(p):
    """The marshalled length of a pointer, in elements: (stride ? stride / size : row) x rows
    for an image, the description's count for an array."""
    if isinstance(p, Image):
        size = p.elem.size
        packed = p.zero_stride()
        if not re.fullmatch(r"\w+", p.stride):  # a packed image: its stride is the row itself
            per_row = f"({packed})" if size == 1 else f"({packed}) / {size}"
        else:
            per_row = (f"({p.stride} ? {p.stride} : {packed})" if size == 1 else
                       f"({p.stride} ? {p.stride} / {size} : ({packed}) / {size})")
        return f"(uint32_t)({per_row} * ({image_rows(p)}))"
    return f"(uint32_t)({p.elements()})"


def span_expr(p, names):
    """Bytes the kernel reaches through the pointer, in 64 bits, given the other arguments:
    (rows - 1) strides and one row for an image, the count times the element for an array."""
    if isinstance(p, Image):
        # Typed rows are stepped in whole elements: a stride is read rounded down to one.
        step = p.stride if p.elem.size == 1 else f"{p.stride} / {p.elem.size} * {p.elem.size}"
        stride = f"({p.stride} ? (uint64_t)({step}) : (uint64_t)({u64(p.zero_stride(), names)}))"
        if not re.fullmatch(r"\w+", p.stride):
            stride = f"(uint64_t)({u64(p.stride, names)})"
        return (f"ilmvRpcSpan({u64(image_rows(p), names)}, {stride}, "
                f"{u64(p.row_bytes(), names)})")
    return f"({u64(p.elements(), names)}) * sizeof({p.ctype})"


def direction(p):
    if isinstance(p, ScalarOut):
        return "ILMV_RPC_OUT"
    return {"in": "ILMV_RPC_IN", "out": "ILMV_RPC_OUT", "inout": "ILMV_RPC_INOUT"}[p.direction]


def marshalled(o):
    """(kind, param, extra) in the stub's order: ("buffer", p) then ("length", p) for pointers,
    ("scalar", p), ("out", p) for scalar outputs, and ("result", ret) last when the operation
    returns a value."""
    out = []
    for p in o.params:
        if isinstance(p, (Image, Points)):
            out += [("buffer", p), ("length", p)]
        elif isinstance(p, ScalarOut):
            out.append(("out", p))
        else:
            out.append(("scalar", p))
    if o.ret != VOID:
        out.append(("result", o.ret))
    return out


def marshalled_decl(kind, p):
    """The C declaration of one marshalled element: as the stub takes it, and as the
    simulator unpacks it."""
    if kind == "buffer":
        return f"{'const ' if p.direction == 'in' else ''}{pointee(p)}* {p.name}"
    if kind == "length":
        return f"uint32_t {p.name}Len"
    if kind == "scalar":
        return f"{p.ctype} {p.name}"
    if kind == "out":
        return f"{p.ctype}* {p.name}"
    return f"{p}* result"


def stub_decl_args(o):
    return ", ".join(["uint64_t handle"] + [marshalled_decl(kind, p) for kind, p in marshalled(o)])


def stub_name(o):
    return f"lumivadsp_{o.name}X"


def gen_stub_header(ops, banner):
    remoted = [o for o in ops if is_remoted(o)]
    lines = []
    for o in remoted:
        lines.append(f"typedef int (*{stub_name(o)}_fn)({stub_decl_args(o)});\n")
        lines.append(f"LUMIVADSP_EXPORT int {stub_name(o)}({stub_decl_args(o)});\n")
    names = "".join(f"    X({o.name}) \\\n" for o in remoted)
    return (f"{banner(remoted)}\n#ifndef LUMIVADSP_STUB_OPS_H\n#define LUMIVADSP_STUB_OPS_H\n\n"
            f"#include \"xdsp_rpc/lumivadspStub.h\"\n#include \"lumiva/lumiva.h\"\n\n#ifdef __cplusplus\nextern \"C\" {{\n#endif\n\n"
            + "".join(lines) +
            f"\n#ifdef __cplusplus\n}}\n#endif\n\n// Every remoted operation, for tables over them.\n"
            f"#define LUMIVADSP_REMOTED_OPS(X) \\\n{names}\n#endif\n")


def stub_call_args(o):
    args = ["handle"]
    for kind, p in marshalled(o):
        if kind == "buffer":
            args.append(p.name)
        elif kind == "length":
            args.append(f"{p.name}Len")
        elif kind in ("scalar", "out"):
            args.append(p.name)
        else:
            args.append("&result")
    return ", ".join(args)


def public_args(o):
    return ", ".join(p.name for p in o.params)


def public_decl(o, name):
    from lumivaGen import param_decl
    return f"{o.ret} {name}({', '.join(param_decl(p) for p in o.params)})"


def layer_decl(o):
    from lumivaGen import param_decl
    return f"{o.ret} {o.name}X_abstractionLayer({', '.join(['uint64_t handle'] + [param_decl(p) for p in o.params])})"


def remote_forms(o, slot):
    """The four remote forms and the marshalling function of one operation."""
    unset = "" if o.ret == VOID else f" ({o.ret})LUMIVA_NO_DEFAULT_DSP"
    guard = ""
    if o.ret == STATUS and o.remote:
        guard = (f"    if (ilmvX5GuardsOn() && !({o.remote.expr()}))\n"
                 f"        return ilmvX5Decline(\"{o.name}X_abstractionLayer\");\n")
    lengths = "".join(f"    const uint32_t {p.name}Len = {length_expr(p)};\n"
                      for kind, p in marshalled(o) if kind == "buffer")
    result = "" if o.ret == VOID else f"    {o.ret} result{{}};\n"
    call = (f"    const int status = ilmvX5Invoke(handle, [&] {{ return ilmvX5Stub(ilmvStub_{o.name})"
            f"({stub_call_args(o)}); }});\n")
    done = "        return;\n" if o.ret == VOID else "        return result;\n"
    fallback = (f"    {'' if o.ret == VOID else 'return '}ilmvX5Simd<{o.name}_fn>({slot}, {o.simd()})"
                f"({public_args(o)});\n")
    text = [f"LMV_EXPORT {layer_decl(o)}\n{{\n{guard}{lengths}{result}{call}"
            f"    if (status == 0)\n{done}{fallback}}}\n\n"]
    text.append(f"LMV_EXPORT {public_decl(o, o.name + 'X')}\n{{\n    uint64_t handle = 0;\n"
                f"    if (!ilmvX5DefaultHandle(\"{o.name}X\", &handle))\n        return{unset};\n"
                f"    {'' if o.ret == VOID else 'return '}{o.name}X_abstractionLayer(handle, {public_args(o)});\n}}\n\n")
    for form, domain in (("Xa", "adsp"), ("Xc", "cdsp"), ("Xm", "mdsp")):
        text.append(f"LMV_EXPORT {public_decl(o, o.name + form)}\n{{\n"
                    f"    {'' if o.ret == VOID else 'return '}{o.name}X_abstractionLayer({domain}_domain_handle, "
                    f"{public_args(o)});\n}}\n\n")
    return "".join(text)


def gen_remote_forms(ops, banner, enum_name):
    remoted = [o for o in ops if is_remoted(o)]
    pointers = "".join(f"{stub_name(o)}_fn{' ' if len(stub_name(o)) * 2 < 100 else chr(10) + '    '}ilmvStub_{o.name};\n"
                       for o in remoted)
    table = "".join(f"    {{\"{stub_name(o)}\", reinterpret_cast<void**>(&ilmvStub_{o.name})}},\n" for o in remoted)
    forms = "".join(remote_forms(o, enum_name(o.slot, o.name)) for o in remoted)
    return (f"{banner(remoted)}\n#include \"lumivaKernels.h\"\n#include \"lumivadsp/lumivadspOps.h\"\n"
            f"#include \"xdsp_rpc/multi_domains/lumivaX5Marshal.h\"\n\nnamespace {{\n\n{pointers}\n}}  // namespace\n\n"
            f"// The stub functions the session resolves when it opens.\nconst ILMV_X5_STUB_SYMBOL ilmvX5StubOps[] = {{\n"
            f"{table}}};\nconst size_t ilmvX5StubOpCount = sizeof(ilmvX5StubOps) / sizeof(ilmvX5StubOps[0]);\n\n"
            f"extern \"C\" {{\n\n{forms}}}  // extern \"C\"\n")


# ---- Host stub: packing --------------------------------------------------------------------

def pack_arg(kind, p, names):
    if kind == "buffer":
        return (f"ilmvRpcBuffer({p.name}, {p.name}Len, sizeof(*{p.name}), {span_expr(p, names)}, "
                f"{direction(p)})")
    if kind == "length":
        return f"ilmvRpcScalar({p.name}Len)"
    if kind == "scalar":
        return f"ilmvRpcScalar({p.name})"
    if kind == "out":
        return f"ilmvRpcBuffer({p.name}, 1, sizeof(*{p.name}), sizeof(*{p.name}), ILMV_RPC_OUT)"
    return "ilmvRpcBuffer(result, 1, sizeof(*result), sizeof(*result), ILMV_RPC_OUT)"


def scalar_names(o):
    return {p.name for p in o.params if isinstance(p, (Scalar, Size, Stride))}


def gen_stub_forms(ops, banner):
    remoted = [o for o in ops if is_remoted(o)]
    out = []
    for o in remoted:
        names = scalar_names(o)
        packed = ",\n        ".join(pack_arg(k, p, names) for k, p in marshalled(o))
        out.append(f"LUMIVADSP_EXPORT int {stub_name(o)}({stub_decl_args(o)})\n{{\n"
                   f"    const ILMV_RPC_ARG args[] = {{\n        {packed}}};\n"
                   f"    return ilmvRpcInvoke(handle, \"{o.name}X\", args, sizeof args / sizeof args[0]);\n}}\n\n")
    return (f"{banner(remoted)}\n#include \"lumivadsp/lumivadspOps.h\"\n#include \"lumivaDspLink.h\"\n\n"
            f"extern \"C\" {{\n\n{''.join(out)}}}  // extern \"C\"\n")


# ---- Simulator: checked unpacking -----------------------------------------------------------

def wire_kinds(o):
    return "".join({"buffer": "b", "length": "s", "scalar": "s", "out": "b", "result": "b"}[k] for k, _ in marshalled(o))


def sim_rule(o):
    """The operation's own argument rule on the simulator's side: a call the entry function
    would refuse is refused here too, before any kernel runs."""
    from lumivaGen import status_check
    aliases = "".join(f"    const auto {a} = {t};\n    (void){a};\n" for a, t in o.aliases.items())
    if o.rules:
        terms = " || ".join(f"({o.rule_by} == {v} && ({text}))" for v, text in o.rules.items())
        return aliases, terms
    if o.ret == STATUS or not o.rule:
        return aliases, f"!({status_check(o)})"
    return aliases, o.rule


def gen_sim_ops(ops, banner):
    remoted = [o for o in ops if is_remoted(o)]
    out = []
    for o in remoted:
        names = scalar_names(o)
        lines, checks, index = [], [], 0
        for kind, p in marshalled(o):
            decl = marshalled_decl(kind, p)
            if kind in ("length", "scalar"):
                ctype = "uint32_t" if kind == "length" else p.ctype
                const = "" if isinstance(p, Stride) and kind == "scalar" else "const "
                lines.append(f"    {const}{decl} = c.scalar<{ctype}>({index});\n")
            else:
                target = p if kind == "result" else pointee(p) if kind == "buffer" else p.ctype
                lines.append(f"    {decl} = c.buffer<{target}>({index});\n")
            if kind == "length":
                checks.append(f"c.holds({index - 1}, {p.name}Len, sizeof(*{p.name}), {span_expr(p, names)}, "
                              f"{'true' if getattr(p, 'optional', False) else 'false'})")
            elif kind in ("out", "result"):
                pointer = p.name if kind == "out" else "result"
                checks.append(f"c.holds({index}, 1, sizeof(*{pointer}), sizeof(*{pointer}), false)")
            index += 1
        aliases, rule = sim_rule(o)
        # The forms take strides as given: a zero stride becomes the row size here, once the
        # lengths are checked, as the entry functions replace it before any form runs.
        from lumivaGen import stride_defaults
        call = f"{o.name}C({public_args(o)})"
        run = f"    {call};\n" if o.ret == VOID else f"    result[0] = {call};\n"
        check = " &&\n        ".join(checks) or "true"
        out.append(f"int ilmvServe_{o.name}(ILMV_SIM_CALL& c)\n{{\n"
                   f"    if (!c.shaped(\"{wire_kinds(o)}\"))\n        return ILMV_SIM_MALFORMED;\n"
                   f"{''.join(lines)}    if (!({check}))\n        return ILMV_SIM_BAD_LENGTH;\n{stride_defaults(o)}"
                   f"{aliases}    if (!({rule}))\n        return ILMV_SIM_BAD_ARGUMENTS;\n{run}    return 0;\n}}\n\n")
    table = "".join(f"    {{\"{o.name}X\", ilmvServe_{o.name}}},\n" for o in remoted)
    return (f"{banner(remoted)}\n#include \"lumivaKernels.h\"\n#include \"lumivaDspSim.h\"\n\n"
            f"#include <cstdint>\n\nnamespace {{\n\n{''.join(out)}}}  // namespace\n\n"
            f"const ILMV_SIM_OP ilmvSimOps[] = {{\n{table}}};\n"
            f"const size_t ilmvSimOpCount = sizeof(ilmvSimOps) / sizeof(ilmvSimOps[0]);\n")
