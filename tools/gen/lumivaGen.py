#!/usr/bin/env python3
"""Generates the mechanical parts of the library from the operation descriptions.

usage: lumivaGen.py SLOTS_LIST OPS_DIR OUT_DIR

Writes, under OUT_DIR:
  include/lumiva/lumivaApi.h      the slot enums
  include/lumiva/lumiva<Fam>.h    documented prototypes of each family's entry functions
  lumivaKernels.h                 function-pointer types and the implementation prototypes
  lumivaEntries.cpp               the entry functions
  lumivaRegistry.cpp              which forms exist per slot, and the slot names
  lumivaOpCases.inc               SIMD-against-reference test cases
  lumivaRemoteForms.cpp           the remote forms and their marshalling functions
  lumivadsp/lumivadspOps.h        the stub's per-operation interface, shared by both sides
  lumivadspStubForms.cpp          the host stub's packing of each operation
  lumivadspdOps.cpp               the DSP simulator's checked unpacking of each operation
  lumivaGpuForms.cpp              the G forms: each operation's GPU engine, SIMD when it fails
"""

import importlib.util
import os
import re
import string
import sys

sys.path.insert(0, os.path.dirname(__file__))
import lmvdesc  # noqa: E402
import lumivaGenRemote as remote  # noqa: E402
import lumivaGenGpu as gpu  # noqa: E402
from lmvdesc import Image, Size, Stride, Scalar, ScalarOut, Points, Handle, Entry, STATUS, VOID  # noqa: E402

COLUMNS = ["C", "V", "X", "G", "Xa", "Xc", "Xm"]
INTERNAL = ["lmvColorRGB888ToRGB565Rotate180u8", "lmvColorYUV420toRGB565u8Rotate180", "lmvCopy",
            "lmvImageGradientScharrInterleaveds16", "lmvMserSplitExtu8ST", "lmvScaleDownBy2Gaussian5x5f32",
            "lmvScaleDownBy2Gaussian5x5f32_v2", "lmvSumOfAbsoluteDiff16x16u8", "lmvSumOfAbsoluteDiff8x8u8",
            "lmvSumOfAbsoluteDiffs16x16u8", "probeX5Time", "lmvRegisterBuf", "lmvFilterConvSepMxNs16",
            "lmvExtractHOGu16", "lmvHOGInit", "lmvHOGDeInit"]
TEMPLATES = os.path.join(os.path.dirname(__file__), "templates")
REPOSITORY = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
WIDTH = 120


def fill(template, **fields):
    """The template file with its $fields filled in."""
    with open(os.path.join(TEMPLATES, template)) as f:
        return string.Template(f.read()).substitute(**fields)


SLOTS_SOURCE = ["src/core/lumivaSlots.list"]  # the slot table in use, as the banners name it


def banner(ops, with_slots=False):
    """The first lines of a generated file: the descriptions (and slot table) it came from."""
    sources = sorted({o.source for o in ops}) + (SLOTS_SOURCE if with_slots or not ops else [])
    return fill("banner.in", sources=", ".join(sources)).rstrip("\n")


def split_points(line):
    """Offsets where `line` may break: after ", ", "; " or "(" and before "&& " or "|| " outside
    string literals, and after a space inside one (the literal is closed and reopened there)."""
    points, quoted, i = [], False, 0
    while i < len(line):
        ch = line[i]
        if ch == "\\" and quoted:
            i += 2
            continue
        if ch == '"':
            quoted = not quoted
        elif quoted and ch == " ":
            points.append((i + 1, True, False))
        elif not quoted and (line.startswith(", ", i) or line.startswith("; ", i)):
            points.append((i + 2, False, False))
        elif not quoted and ch == "(" and line[i + 1:i + 2] not in (")", ""):
            points.append((i + 1, False, True))  # only where nothing better fits
        elif not quoted and (line.startswith(" && ", i) or line.startswith(" || ", i)):
            points.append((i + 1, False, False))
        i += 1
    return points


def wrap_code(line):
    """One generated C++ line as lines of at most WIDTH columns where it can break."""
    indent = len(line) - len(line.lstrip(" "))
    if line.lstrip().startswith(("*", "/*", "//")):
        return wrap_comment(line)
    out, cont = [], " " * (indent + 8)
    while len(line) > WIDTH:
        fits = [p for p in split_points(line) if len(cont) < p[0] <= WIDTH - 1]
        if not fits:
            break
        pos, quoted, _ = ([p for p in fits if not p[2]] or fits)[-1]
        head, rest = line[:pos].rstrip(), line[pos:].lstrip()
        if quoted:
            head, rest = line[:pos] + '"', '"' + line[pos:]
        out.append(head)
        line = cont + rest
    return out + [line]


def wrap_comment(line):
    """A comment line wrapped at spaces, continued under its text."""
    body = line.lstrip()
    lead = line[:len(line) - len(body)]
    prefix = lead + ("* " if body.startswith("*") else "// ")
    text = body[2:] if body.startswith(("* ", "//")) else body
    if len(line) <= WIDTH or not body.startswith(("* ", "// ")):
        return [line]
    hang = "  " if text.startswith("@param") else ""
    out, current = [], prefix + text.split(" ")[0]
    for word in text.split(" ")[1:]:
        if len(current) + 1 + len(word) > WIDTH:
            out.append(current)
            current = prefix + hang + word
        else:
            current += " " + word
    return out + [current]


def wrapped(text):
    return "\n".join(piece for line in text.split("\n") for piece in wrap_code(line))


def read_slots(path):
    slots = []
    for line in open(path):
        line = line.strip()
        if line and not line.startswith("#"):
            num, name = line.split()
            assert int(num) == len(slots), f"slot {num} out of order"
            slots.append(None if name == "-" else name)
    return slots


def load_ops(ops_dir):
    for fname in sorted(os.listdir(ops_dir)):
        if fname.endswith(".py"):
            before = len(lmvdesc.OPS)
            spec = importlib.util.spec_from_file_location(fname[:-3], os.path.join(ops_dir, fname))
            spec.loader.exec_module(importlib.util.module_from_spec(spec))
            for o in lmvdesc.OPS[before:]:
                o.source = os.path.relpath(os.path.join(ops_dir, fname), REPOSITORY)
    return lmvdesc.OPS


def enum_name(slot, name):
    return f"LMV_API_{name}" if name else f"LMV_API_RESERVED_{slot}"


def param_decl(p):
    if isinstance(p, (Image, Handle)):
        return f"{p.ctype} {p.name}"
    if isinstance(p, ScalarOut):
        return f"{p.ctype}* {p.name}"
    if isinstance(p, Points):
        const = "const " if p.direction == "in" else ""
        return f"{const}{p.ctype}* {p.name}"
    return f"{p.ctype} {p.name}"


def signature(o, name):
    return f"{o.ret} {name}({', '.join(param_decl(p) for p in o.params)})"


def args(o):
    return ", ".join(p.name for p in o.params)


DIRECTION = {"in": "in", "out": "out", "inout": "in, out"}


def param_doc(p):
    """What the parameter means, and for a pointer how much memory it must reach."""
    if isinstance(p, Image):
        what = {"in": "source", "out": "destination", "inout": "destination"}[p.direction]
        chans = f", {p.channels} interleaved channels" if p.channels > 1 else ""
        opt = "; may be null" if p.optional else ""
        extra = f"; {p.doc}" if p.doc else ""
        if p.direction == "inout":
            extra = "; read and written" + extra
        if p.elem.size > 1:  # typed rows are read with typed loads
            extra += f"; the pointer and the stride are multiples of {p.elem.size}"
        return (f"[{DIRECTION[p.direction]}] {what} image of {p.elem.suffix} elements{chans}, {p.dims()} pixels, "
                f"rows {p.stride} bytes apart{opt}{extra}")
    if isinstance(p, Stride):
        return p.doc or "bytes between row starts; 0 means the row size"
    if isinstance(p, Size):
        return p.doc or ("width in pixels" if p.name.lower().endswith("width") else "height in pixels")
    if isinstance(p, Points):
        opt = "; may be null" if p.optional else ""
        count = f"; {p.count_out} receives how many were written" if p.count_out else ""
        return f"[{DIRECTION[p.direction]}] {p.doc}: {p.elements()} elements of {p.ctype}{opt}{count}"
    if isinstance(p, Handle):
        return f"[{DIRECTION[p.direction]}] {p.doc}"
    if isinstance(p, ScalarOut):
        return f"[out] {p.doc}: one {p.ctype}"
    return p.doc


def check_lengths(o):
    """Every pointer parameter says how much memory it reaches, and every parameter what it means."""
    for params in [o.params] + [e.params for e in o.entries + o.manual_entries]:
        for p in params:
            assert not (isinstance(p, Scalar) and "*" in p.ctype), \
                f"{o.name}: pointer parameter {p.name} needs a length (Points, Handle or ScalarOut)"
            assert not isinstance(p, Points) or p.elements(), f"{o.name}: {p.name} has no length"
            assert param_doc(p), f"{o.name}: parameter {p.name} has no meaning"


def write(out_dir, rel, text):
    path = os.path.join(out_dir, rel)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    if os.path.exists(path) and open(path).read() == text:
        return                      # keep the time stamp: nothing to rebuild
    with open(path, "w") as f:
        f.write(text)


def gen_api_header(slots):
    return fill("api.h.in", banner=banner([], with_slots=True),
                slots="\n".join(f"    {enum_name(i, n)} = {i}," for i, n in enumerate(slots)),
                slot_count=len(slots),
                internal_slots="\n".join(f"    LMV_INTERNAL_{n} = {i}," for i, n in enumerate(INTERNAL)),
                internal_count=len(INTERNAL))


def failure_doc(o):
    if getattr(o, "rule", None) == "1" and getattr(o, "ret", None) != STATUS:
        return "The entry function checks no arguments; the results and failures are those described above."
    if getattr(o, "rules", None):
        return "On a broken argument rule (one per source format) logs \"Assertion failed\" and writes nothing."
    if getattr(o, "ret", None) == STATUS:
        return ("Returns 0, or 3 (and writes nothing) when a pointer is null, a size is 0, a stride is "
                "below the row size or an image spans more than 2^32 - 1 bytes.")
    text = f"On a broken argument rule logs \"Assertion failed\" with the rule \"{o.rule}\" and writes nothing"
    if not any(isinstance(p, Image) for p in o.params):
        return text + "."
    return text + f"; an image spanning more than 2^32 - 1 bytes is refused alike, with the rule \"{SPAN_RULE}\"."


def public_entries(o):
    """(name, params, rule, doc, stops) of every entry function an operation has."""
    own = [(o.name, o.params, o.rule, o.doc, o.stops)] if o.entry and not o.internal else []
    return own + [(e.name, e.params, e.rule, e.doc or o.doc, o.stops + e.stops) for e in o.entries + o.manual_entries]


def gen_family_header(fam, ops):
    entries = [(o, *e) for o in ops for e in public_entries(o)]
    functions = []
    for o, name, params, rule, doc, stops in sorted(entries, key=lambda e: e[1].lower()):
        failure = failure_doc(o) if rule == o.rule else failure_doc(Entry(name, params, rule, []))
        failure += "".join(stop_doc(s) for s in stops)
        functions.append(fill("family_function.in", doc=doc, failure=failure,
                              params="".join(f" * @param {p.name} {param_doc(p)}\n" for p in params),
                              decl=f"{o.ret} {name}({', '.join(param_decl(p) for p in params)})"))
    return fill("family.h.in", banner=banner(ops), guard=f"LUMIVA_{fam.upper()}_H", functions="".join(functions))


def stop_doc(stop):
    return (f" Stops the process (exit status 1, the log naming \"{stop.condition}\") when {stop.when}: "
            f"this is deliberate, not a failure to report.")


def gen_kernels_header(ops):
    kernels = []
    for o in ops:
        kernels.append(f"typedef {o.ret} (*{o.name}_fn)({', '.join(param_decl(p) for p in o.params)});\n")
        kernels += [f"LMV_EXPORT {signature(o, o.name + f)};\n" for f in o.form_list()]
        if o.has_form("X"):
            kernels.append(f"LMV_EXPORT {remote.layer_decl(o)};\n")
        kernels.append("\n")
    return fill("kernels.h.in", banner=banner(ops), kernels="".join(kernels))


def stride_defaults(o):
    """A zero stride stands for the row size of the first image that uses it."""
    seen, lines = set(), []
    stride_params = {p.name for p in o.params if isinstance(p, Stride)}
    for img in o.images():
        if img.stride not in seen and img.stride in stride_params:
            seen.add(img.stride)
            lines.append(f"    if ({img.stride} == 0) {img.stride} = {img.zero_stride()};\n")
    return "".join(lines)


def status_check(o):
    """Status-returning members reject nulls, zero sizes and strides below the row size."""
    terms = []
    for p in o.params:
        if isinstance(p, Image) and not p.optional or isinstance(p, ScalarOut) or \
                isinstance(p, Points) and p.direction == "in" and not p.optional:
            terms.append(f"{p.name} == nullptr")
        elif isinstance(p, Size):
            terms.append(f"{p.name} == 0")
    seen = set()
    for img in o.images():
        if img.stride not in seen and not img.optional:
            seen.add(img.stride)
            terms.append(f"{img.stride} < {img.row_bytes()}")
    return " || ".join(terms)


SPAN_RULE = "image spans fit in 32 bits"


def span_check(o):
    """C expression: every image the call reaches spans at most 2^32 - 1 bytes ((rows - 1)
    strides and one row), so no size product can wrap a 32-bit length or address; "1" when
    the operation has no image."""
    terms = []
    names = {p.name for p in o.params if isinstance(p, (Size, Stride, Scalar))}
    for img in o.images():
        rows = remote.u64(remote.image_rows(img), names)
        row = remote.u64(img.row_bytes(), names)
        term = f"ilmvSpanFits32({rows}, (uint64_t)({img.stride}), {row})"
        if term not in terms:
            terms.append(term)
    return " && ".join(terms) or "1"


def c_string(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def rule_check(o, rule, name, params):
    """The argument assertion: one rule, or the rule of the selected case."""
    lines = [f"    const auto {alias} = {target};\n    (void){alias};\n" for alias, target in o.aliases.items()]
    failed = "ilmvAssertFailed({}, {})"
    if o.rules:
        first = True
        for value, text in o.rules.items():
            keyword = "if" if first else "else if"
            lines.append(f"    {keyword} ({o.rule_by} == {value} && !({text}))\n"
                         f"        return (void){failed.format(c_string(name), c_string(text))};\n")
            first = False
        valid = " || ".join(f"{o.rule_by} == {v}" for v in o.rules)
        lines.append(f"    else if (!({valid}))\n        return (void){failed.format(c_string(name), c_string(valid))};\n")
        return "".join(lines)
    fail = failed.format(c_string(name), c_string(rule))
    if o.ret == VOID:
        lines.append(f"    if (!({rule}))\n    {{\n        {fail};\n        return;\n    }}\n")
    elif o.ret.endswith("*"):
        lines.append(f"    if (!({rule}))\n    {{\n        {fail};\n        return nullptr;\n    }}\n")
    else:
        lines.append(f"    if (!({rule}))\n        return ({o.ret}){fail};\n")
    return "".join(lines)


def entry_body(o, name, params, rule, call_args):
    slot = enum_name(o.slot, o.name) if o.follows_slot is None else f"(LMV_API_enum){o.follows_slot}"
    decl = f"{o.ret} {name}({', '.join(param_decl(p) for p in params)})"
    if o.follows_slot is not None:
        call = f"(idx == LMV_IMPL_C ? {o.name}C : {o.simd()})({call_args})"
    else:
        call = f"ilmvImpl<{o.name}_fn>({slot}, idx)({call_args})"
    prologue = stride_defaults(holder_op(o, params)) + "".join(f"    {line}\n" for line in o.prelude)
    spans = span_check(holder_op(o, params))
    if o.ret == STATUS:
        return fill("status_entry.in", decl=decl, prologue=prologue, slot=slot, literal=c_string(name),
                    bad=status_check(holder_op(o, params)), spans=spans, call=call,
                    simd_call=f"ilmvImpl<{o.name}_fn>({slot}, LMV_IMPL_V)({call_args})")
    choose = ""
    if o.follows_slot is None:
        # The rows speak of the slot's parameters; an entry with its own parameter list
        # evaluates them on the arguments it passes to the slot.
        rename = dict(zip((p.name for p in o.params), call_args.split(", ")))
        choose = f"    idx = {demote(o.remote, o.gpu, rename)};\n"
    return fill("entry.in", decl=decl, prologue=prologue, slot=slot, choose=choose, literal=c_string(name),
                check=rule_check(o, rule, name, params) + span_refusal(o, name, spans),
                call=call if o.ret == VOID else f"return {call}")


def span_refusal(o, name, spans):
    """An image too large for 32-bit lengths is refused like a broken rule, with its own text."""
    if spans == "1":
        return ""
    fail = f"ilmvAssertFailed({c_string(name)}, {c_string(SPAN_RULE)})"
    if o.ret == VOID:
        return f"    if (!({spans}))\n    {{\n        {fail};\n        return;\n    }}\n"
    if o.ret.endswith("*"):
        return f"    if (!({spans}))\n    {{\n        {fail};\n        return nullptr;\n    }}\n"
    return f"    if (!({spans}))\n        return ({o.ret}){fail};\n"


def demote(remote, gpu, rename=None):
    """The ilmvDemote call of a remote and a GPU row, the rows' parameter names replaced by
    the arguments `rename` gives for them."""
    rename = rename or {}
    switch = "" if not remote or remote.switchable else ", false"
    return fill("demote.in", remote=in_terms_of(remote.expr(), rename) if remote else "1",
                gpu=in_terms_of(gpu.expr(), rename) if gpu else "1", switch=switch).rstrip("\n")


def in_terms_of(expr, rename):
    """`expr` with each parameter name replaced by the argument passed for it."""
    def swap(m):
        arg = rename.get(m.group(0), m.group(0))
        return arg if re.fullmatch(r"\w+", arg) else f"({arg})"
    return re.sub(r"\b[A-Za-z_]\w*\b", swap, expr)


def holder_op(o, params):
    """The operation seen through another parameter list (for stride defaults and checks)."""
    import copy
    h = copy.copy(o)
    h.params = params
    return h


def gen_entry(o):
    out = []
    if o.entry and not o.internal:
        out.append(entry_body(o, o.name, o.params, o.rule, args(o)))
    for e in o.entries:
        out.append(entry_body(o, e.name, e.params, e.rule, ", ".join(e.args)))
    return "".join(out)


def gen_entries(ops):
    return fill("entries.cpp.in", banner=banner(ops), entries="".join(gen_entry(o) for o in ops))


def form_cells(o):
    return ", ".join(f"LMV_FORM({o.name}{c})" if o.has_form(c) else "nullptr" for c in COLUMNS)


def gen_registry(ops, slots):
    api = sorted((o for o in ops if not o.internal and o.follows_slot is None), key=lambda o: o.slot)
    internal = sorted((o for o in ops if o.internal), key=lambda o: o.slot)
    return fill("registry.cpp.in", banner=banner(ops, with_slots=True),
                api_rows="\n".join(f"    {{{enum_name(o.slot, o.name)}, {{{form_cells(o)}}}}}," for o in api),
                internal_rows="\n".join(f"    {{LMV_INTERNAL_{o.name}, {{{form_cells(o)}}}}}," for o in internal),
                names="\n".join(f"    {c_string(n) if n else 'nullptr'}," for n in slots))


def scalar_lines(o, declared=False):
    """The case's scalars, drawn first: array lengths may depend on them."""
    lines = []
    for p in o.params:
        if isinstance(p, Scalar):
            choices = "{" + ", ".join(f"({p.ctype})({v})" for v in p.test) + "}" if p.test else "{}"
            lines.append(f"    {p.ctype if declared else 'auto'} {p.name} = c.scalar<{p.ctype}>({choices});\n")
    return lines


def own_size(o, img):
    """The image's own width and height for the case, when they are not the case's: the size
    expressions with every width and height parameter read as the case's."""
    sizes = [p for p in o.params if isinstance(p, Size)]
    plain = {p.name for p in sizes}
    if img.width in plain and img.height in plain and "idth" in img.width and "eight" in img.height:
        return ""

    signed = lambda text: f"std::max<int64_t>({case_sizes(o, text, 'int64_t')}, 1)"
    return f", {signed(img.width)}, {signed(img.height)}"


def case_sizes(o, text, cast=""):
    """A size expression with every width and height parameter read as the case's (converted
    to `cast` first, when given)."""
    for p in o.params:
        if isinstance(p, Size):
            size = "c.width()" if "idth" in p.name else "c.height()"
            text = re.sub(rf"\b{p.name}\b", f"{cast}({size})" if cast else size, text)
    return text


def case_for(o, first="C"):
    """One generated test case: the same inputs through two ways of running the operation,
    outputs compared: the C and V forms, or (first="entry") the public entry and the V form."""
    lines = scalar_lines(o)
    call_args = {0: [], 1: []}
    for p in o.params:
        if isinstance(p, Points) and p.direction == "in":
            lines.append(f"    auto arr_{p.name} = c.array<{p.ctype}>({p.elements()});\n")
            for f in (0, 1):
                call_args[f].append(f"arr_{p.name}.data()")
        elif isinstance(p, Image):
            kind = {"in": "input", "out": "output", "inout": "output"}[p.direction]
            opt = f", {'true' if p.optional else 'false'}, {p.wdiv}, {p.hdiv}{own_size(o, p)}"
            lines.append(f"    auto {p.name} = c.{kind}<{p.elem.ctype}>({p.channels}, \"{p.stride}\"{opt});\n")
            for f in (0, 1):
                call_args[f].append(f"{p.name}.data({f})" if kind == "output" else f"{p.name}.data()")
        elif isinstance(p, Size):
            for f in (0, 1):
                call_args[f].append("c.width()" if "idth" in p.name else "c.height()")
        elif isinstance(p, Stride):
            owner = next(i for i in o.images() if i.stride == p.name)
            for f in (0, 1):
                call_args[f].append(f"{owner.name}.stride()")
        elif isinstance(p, Scalar):
            for f in (0, 1):
                call_args[f].append(p.name)
        elif isinstance(p, ScalarOut):
            lines.append(f"    auto {p.name} = c.result<{p.ctype}>();\n")
            for f in (0, 1):
                call_args[f].append(f"{p.name}.data({f})")
        elif isinstance(p, Points):
            optional = ", true" if p.optional else ""
            lines.append(f"    auto {p.name} = c.result<{p.ctype}>({case_sizes(o, p.elements())}{optional});\n")
            for f in (0, 1):
                call_args[f].append(f"{p.name}.data({f})")
    second = {"remote": "X", "gpu": "G"}.get(first, "V" if o.has_form("V") else "C")
    for f, form in ((0, "C" if first in ("C", "remote", "gpu") else ""), (1, second)):
        call = f"{o.name}{form}({', '.join(call_args[f])})"
        lines.append(f"    c.record({f}, {call});\n" if o.ret != VOID else f"    {call};\n")
    name = o.name if first == "C" else f"{o.name}_{first}"
    return fill("case.in", name=name, body="".join(lines))


def bad_case(o):
    """A generated call of the public entry with one argument made invalid: kind 0 the first
    required image null, 1 the first size 0, 2 the first stride one byte short of its row,
    3 sizes whose product passes 2^32 with every stride 0. The case works out from the entry's
    own rule whether the call must be refused, and the harness checks the refusal (status 3
    or the logged assertion, nothing written) or, for a call the rule lets through, that it
    stays inside the buffers."""
    lines, args = scalar_lines(o, declared=True), []
    for p in o.params:
        if isinstance(p, Points) and p.direction == "in":
            lines.append(f"    auto arr_{p.name} = c.array<{p.ctype}>({p.elements()});\n")
            lines.append(f"    const {p.ctype}* {p.name} = arr_{p.name}.data();\n")
        elif isinstance(p, Image):
            kind = {"in": "input", "out": "output", "inout": "output"}[p.direction]
            opt = f", {'true' if p.optional else 'false'}, {p.wdiv}, {p.hdiv}{own_size(o, p)}"
            lines.append(f"    auto img_{p.name} = c.{kind}<{p.elem.ctype}>({p.channels}, \"{p.stride}\"{opt});\n")
            data = f"img_{p.name}.data(0)" if kind == "output" else f"img_{p.name}.data()"
            lines.append(f"    {p.ctype} {p.name} = {data};\n")
        elif isinstance(p, Size):
            lines.append(f"    uint32_t {p.name} = {'c.width()' if 'idth' in p.name else 'c.height()'};\n")
        elif isinstance(p, Stride):
            owner = next(i for i in o.images() if i.stride == p.name)
            lines.append(f"    uint32_t {p.name} = img_{owner.name}.stride();\n")
        elif isinstance(p, ScalarOut):
            lines.append(f"    auto res_{p.name} = c.result<{p.ctype}>();\n    {p.ctype}* {p.name} = res_{p.name}.data(0);\n")
        elif isinstance(p, Points):
            optional = ", true" if p.optional else ""
            lines.append(f"    auto res_{p.name} = c.result<{p.ctype}>({case_sizes(o, p.elements())}{optional});\n"
                         f"    {p.ctype}* {p.name} = res_{p.name}.data(0);\n")
        args.append(p.name)
    required = [i for i in o.images() if not i.optional]
    sizes = [p for p in o.params if isinstance(p, Size)]
    strides = [p.name for p in o.params if isinstance(p, Stride)]
    short = next((i for i in required if i.stride in strides), None)
    cases = []
    if required:
        cases.append(f"    case 0: {required[0].name} = nullptr; break;\n")
    if sizes:
        cases.append(f"    case 1: {sizes[0].name} = 0; break;\n")
    if short:
        cases.append(f"    case 2: {short.stride} = (uint32_t)({short.row_bytes()}) - 1; break;\n")
    widths = [p.name for p in sizes if "idth" in p.name]
    heights = [p.name for p in sizes if "eight" in p.name]
    if widths and heights:
        zero = "".join(f" {st} = 0;" for st in strides)
        cases.append(f"    case 3: {widths[0]} = 0x10000u; {heights[0]} = 0x10001u;{zero} break;\n")
    defaults = "".join(f"    {line.strip()}\n" for line in stride_defaults(o).splitlines())
    aliases = "".join(f"        const auto {a} = {t};\n        (void){a};\n" for a, t in o.aliases.items())
    accepted = f"!({status_check(o)})" if o.ret == STATUS else (o.rule or "1")
    if o.rules:
        accepted = " || ".join(f"({o.rule_by} == {v} && ({text}))" for v, text in o.rules.items())
    call = f"{o.name}({', '.join(args)})"
    call_expr = f"({call}, int64_t(0))" if o.ret == VOID else f"int64_t({call})"
    body = ("".join(lines) + "    switch (kind) {\n" + "".join(cases) + "    default: return;\n    }\n"
            "    const bool refused = [=]() mutable {\n" + defaults.replace("    if", "        if") + aliases +
            f"        return !({accepted}) || !({span_check(o)});\n    }}();\n"
            f"    c.expectRefusal(refused, {'true' if o.ret == STATUS else 'false'}, {c_string(o.name)}, "
            f"[&] {{ return {call_expr}; }});\n")
    return f"static void bad_{o.name}(ilmvCase& c, int kind)\n{{\n{body}}}\n\n"


def has_own_entry(o):
    """The slot's entry takes the forms' own parameters, so a case can call it alike."""
    return o.entry and not o.internal and o.follows_slot is None


def gen_cases(ops):
    # Operations without a SIMD form run their cases against the reference form (the entry,
    # remote and GPU comparisons are the ones that count for them).
    paired = [o for o in ops if o.has_form("C") and o.cases]
    entry_of = {o.name: f"case_{o.name}_entry" if has_own_entry(o) else "nullptr" for o in paired}
    remote_of = {o.name: f"case_{o.name}_remote" if o.has_form("X") else "nullptr" for o in paired}
    bad_of = {o.name: f"bad_{o.name}" if has_own_entry(o) else "nullptr" for o in paired}
    gpu_of = {o.name: f"case_{o.name}_gpu" if o.has_form("G") else "nullptr" for o in paired}
    table = "\n".join(f"    {{{c_string(o.name)}, {c_string(o.family)}, case_{o.name}, {o.case_min_width}, "
                      f"{entry_of[o.name]}, {remote_of[o.name]}, {bad_of[o.name]}, {gpu_of[o.name]}}},"
                      for o in paired)
    cases = "".join(case_for(o) + (case_for(o, "entry") if has_own_entry(o) else "") +
                    (case_for(o, "remote") if o.has_form("X") else "") + (bad_case(o) if has_own_entry(o) else "") +
                    (case_for(o, "gpu") if o.has_form("G") else "")
                    for o in paired)
    return fill("cases.inc.in", banner=banner(ops), cases=cases, table=table)


def gen_entry_rows(ops):
    """The remote and GPU rows of hand-written entries, as functions those entries call."""
    functions = []
    for o in ops:
        for e in o.manual_entries:
            if e.remote or e.gpu:
                decl = ", ".join(["uint32_t idx"] + [f"[[maybe_unused]] {param_decl(p)}" for p in e.params])
                functions.append(fill("fits.in", entry=e.name, op=o.name, decl=decl, demote=demote(e.remote, e.gpu)))
    with_rows = [o for o in ops if any(e.remote or e.gpu for e in o.manual_entries)]
    return fill("entry_rows.h.in", banner=banner(with_rows), functions="".join(functions))


def walk_call(o, form):
    """The call of the family walk that makes up a form: images and strides in the walk's
    order, then the element rule."""
    ns = f"ilmv::{o.family.lower()}{form}"
    images = o.images()
    inputs = [i for i in images if i.direction == "in" and not i.optional]
    mask = next((i for i in images if i.optional), None)
    out = next((i for i in images if i.direction != "in"), None)
    size = f"{images[0].width}, {images[0].height}"
    values = "{" + ", ".join(p.name for p in o.params if isinstance(p, Scalar) and p.name.startswith("value")) + "}"
    if o.walk == "binary":
        a, b = inputs
        return f"{ns}::binary({a.name}, {a.stride}, {b.name}, {b.stride}, {out.name}, {out.stride}, {size}, {o.element})"
    if o.walk == "maskedBinary":
        a, b = inputs
        return (f"{ns}::maskedBinary({a.name}, {a.stride}, {b.name}, {b.stride}, {mask.name}, {mask.stride}, "
                f"{out.name}, {out.stride}, {size}, {o.element})")
    if o.walk == "unary":
        return f"{ns}::unary({inputs[0].name}, {inputs[0].stride}, {out.name}, {out.stride}, {size}, {o.element})"
    if o.walk == "channels":
        src = inputs[0]
        return f"{ns}::absDiffChannels({src.name}, {src.stride}, {values}, {out.name}, {out.stride}, {size})"
    if o.walk == "fill":
        return f"{ns}::fill({out.name}, {out.stride}, {values}, {mask.name}, {mask.stride}, {size})"
    if o.walk == "mean":
        result = next(p for p in o.params if isinstance(p, ScalarOut))
        return f"*{result.name} = {ns}::mean<{o.element}>({inputs[0].name}, {inputs[0].stride}, {size})"
    raise AssertionError(f"{o.name}: unknown walk {o.walk}")


def walk_form(o, form):
    """A form made of one walk: status members refuse an unknown overflow policy first."""
    body = []
    if o.ret == STATUS and any(p.name == "policy" for p in o.params):
        body.append("    if (!ilmv::isPolicy(policy)) return LUMIVA_BAD_PARAMS;\n")
    body.append(f"    {walk_call(o, form)};\n")
    if o.ret == STATUS:
        body.append("    return LUMIVA_SUCCESS;\n")
    return f"LMV_EXPORT {signature(o, o.name + form)}\n{{\n{''.join(body)}}}\n\n"


def gen_walk_forms(ops, family, form):
    walked = [o for o in ops if o.walk and o.family == family and o.has_form(form)]
    return banner(walked) + "\nextern \"C\" {\n\n" + "".join(walk_form(o, form) for o in walked) + \
        "}  // extern \"C\"\n"


ROW_TABLES = {"C": "ilmvColorRowsC()", "V": "ilmvColorRowsV()"}


def gen_frame_forms(ops):
    """Forms that are one call of a shared frame function, each with its own row kernels."""
    framed = [o for o in ops if o.frame]
    forms = []
    for o in framed:
        for form in ("C", "V"):
            if o.has_form(form):
                call = o.frame.replace("{rows}", ROW_TABLES[form]).replace("{form}", form)
                forms.append(fill("frame_form.in", decl=signature(o, o.name + form), call=call))
    includes = "".join(f"#include \"{h}\"\n" for h in sorted({o.frame_header for o in framed}))
    return fill("frame_forms.cpp.in", banner=banner(framed), includes=includes, forms="".join(forms))


def main():
    slots_list, ops_dir, out_dir = sys.argv[1:4]
    SLOTS_SOURCE[0] = os.path.relpath(os.path.abspath(slots_list), REPOSITORY)
    slots = read_slots(slots_list)
    ops = load_ops(ops_dir)
    remote.add_remote_forms(ops)
    gpu.add_gpu_forms(ops)
    for o in ops:
        if o.internal:
            assert INTERNAL[o.slot] == o.name, f"{o.name} is not internal slot {o.slot}"
        elif o.follows_slot is None:
            assert slots[o.slot] == o.name, f"{o.name} is not slot {o.slot}"
        assert o.ret == STATUS or o.rule or o.rules or not o.entry or o.internal, f"{o.name} needs an argument rule"
        check_lengths(o)
    outputs = {"include/lumiva/lumivaApi.h": gen_api_header(slots)}
    families = sorted({o.family for o in ops})
    for fam in families:
        outputs[f"include/lumiva/lumiva{fam}.h"] = gen_family_header(fam, [o for o in ops if o.family == fam])
    includes = "".join(f"#include \"lumiva/lumiva{f}.h\"\n" for f in families)
    outputs.update({
        "include/lumiva/lumivaFamilies.h": fill("families.h.in", banner=banner(ops), includes=includes),
        "lumivaKernels.h": gen_kernels_header(ops),
        "lumivaEntries.cpp": gen_entries(ops),
        "lumivaRegistry.cpp": gen_registry(ops, slots),
        "lumivaOpCases.inc": gen_cases(ops),
        "lumivaFrameForms.cpp": gen_frame_forms(ops),
        "lumivaEntryRows.h": gen_entry_rows(ops),
        "lumivadsp/lumivadspOps.h": remote.gen_stub_header(ops, banner),
        "lumivaRemoteForms.cpp": remote.gen_remote_forms(ops, banner, enum_name),
        "lumivadspStubForms.cpp": remote.gen_stub_forms(ops, banner),
        "lumivadspdOps.cpp": remote.gen_sim_ops(ops, banner),
        "lumivaGpuForms.cpp": gpu.gen_gpu_forms(ops, banner, signature),
    })
    # Families whose forms are walks get their forms in two files the family's reference and
    # SIMD sources include; the arithmetic family's always exist, since the build names them.
    for fam in sorted({o.family for o in ops if o.walk} | {"Arithm"}):
        for form in ("C", "V"):
            outputs[f"lumiva{fam}Forms{form}.inc"] = gen_walk_forms(ops, fam, form)
    for rel, text in outputs.items():
        write(out_dir, rel, wrapped(text))


if __name__ == "__main__":
    main()
