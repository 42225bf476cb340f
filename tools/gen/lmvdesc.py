"""Vocabulary of the operation descriptions.

Each family file under src/core/ops/ lists its operations with `op(...)`. One entry
says everything the build needs to know about an operation: its slot, name,
parameters (with the role of each: image in or out and what sizes it, scalar,
scalar out, point list), the forms that exist, the argument rule of its entry
function and the constraint rows that decide when a remote or GPU choice falls
back to SIMD. The generator turns the entries into the public prototypes, the
entry functions, the table registration and the test cases.
"""

from dataclasses import dataclass, field
from typing import List, Optional


@dataclass(frozen=True)
class Elem:
    suffix: str
    ctype: str
    size: int
    is_float: bool = False


U8 = Elem("u8", "uint8_t", 1)
S8 = Elem("s8", "int8_t", 1)
U16 = Elem("u16", "uint16_t", 2)
S16 = Elem("s16", "int16_t", 2)
U32 = Elem("u32", "uint32_t", 4)
S32 = Elem("s32", "int32_t", 4)
F32 = Elem("f32", "float32_t", 4, True)


@dataclass
class Image:
    """An image argument: `ptr` sized by the width, height and stride parameters."""
    name: str
    elem: Elem
    width: str
    height: str
    stride: str
    channels: int = 1
    direction: str = "in"          # in, out or inout (written in place)
    optional: bool = False         # may be null (a mask)
    doc: str = ""
    wdiv: int = 1                  # 2: a chroma plane of (width + 1) / 2 samples per row
    hdiv: int = 1                  # 2: a chroma plane of (height + 1) / 2 rows
    default_stride: Optional[str] = None  # what a zero stride stands for, when not the row size
    half: str = "up"               # how a halved size rounds: "up" for chroma planes, "down" for decimation

    def _part(self, size, div):
        """C expression: a size divided by `div` (1 or 2), rounded as `half` says."""
        if div == 1:
            return size
        return f"({size} + 1) / 2" if self.half == "up" else f"{size} / 2"

    def dims(self):
        """Text: the image's size in pixels, in terms of the size parameters. With the stride,
        it is the length of the image pointer: (rows - 1) strides and one row."""
        return f"{self._part(self.width, self.wdiv)} x {self._part(self.height, self.hdiv)}"

    @property
    def ctype(self):
        const = "const " if self.direction == "in" else ""
        return f"{const}{self.elem.ctype}*"

    def row_bytes(self):
        """C expression: bytes of one row."""
        factor = self.channels * self.elem.size
        width = self.width if self.wdiv == 1 else f"({self._part(self.width, self.wdiv)})"
        return width if factor == 1 else f"{width} * {factor}"

    def zero_stride(self):
        """C expression: what a zero stride stands for."""
        return self.default_stride or self.row_bytes()


@dataclass
class Size:
    name: str                      # a width or a height, in pixels
    doc: str = ""
    ctype: str = "uint32_t"


@dataclass
class Stride:
    name: str                      # bytes between row starts; 0 means the row size
    doc: str = ""
    ctype: str = "uint32_t"


@dataclass
class Scalar:
    name: str
    ctype: str
    test: List[str] = field(default_factory=list)   # values the generated cases draw from
    doc: str = ""


@dataclass
class ScalarOut:
    name: str
    ctype: str                     # the pointed-to type
    doc: str = ""


@dataclass
class Points:
    """A caller's array of `ctype` elements: `length` of them (an expression of the other
    parameters; the capacity `max_count` when not given)."""
    name: str
    ctype: str
    max_count: str                 # the parameter that bounds the count
    direction: str = "out"
    doc: str = ""
    length: Optional[str] = None
    optional: bool = False         # may be null
    count_out: Optional[str] = None  # the out parameter that receives how many were written

    def elements(self):
        return self.length or self.max_count


@dataclass
class Handle:
    """An object the library handed out (a tree, a model): one object, owned by the caller
    between its create and delete calls. `inout` when the call writes into it."""
    name: str
    ctype: str                     # the object's pointer type
    doc: str
    direction: str = "in"


REMOTE_MIN_AREA = 25344  # 176 x 144: smaller images never pay for the trip to the DSP


@dataclass
class Remote:
    """When a remote choice stays: `area` (a 64-bit product; None for no size test) above
    176 x 144, the listed values multiples of `align`, and `require` true. Everything else
    runs SIMD. `switchable`: the check applies only while the constraint checks are on."""
    area: Optional[str]
    align: int
    aligned: List[str]
    require: str = "1"
    switchable: bool = True

    def expr(self):
        names = ", ".join(f"(uintptr_t)({n})" for n in self.aligned)
        area = f"{self.area} > {REMOTE_MIN_AREA}u && " if self.area else ""
        aligned = f"ilmvMultipleOf({self.align}, {names}) && " if self.aligned else ""
        return f"{area}{aligned}({self.require})"


@dataclass
class Gpu:
    """When a GPU choice stays: the listed values multiples of `align` and `require` true."""
    align: int
    aligned: List[str]
    require: str = "1"

    def expr(self):
        if not self.aligned:
            return f"({self.require})"
        names = ", ".join(f"(uintptr_t)({n})" for n in self.aligned)
        return f"ilmvMultipleOf({self.align}, {names}) && ({self.require})"


@dataclass
class Stop:
    """A deliberate hard stop an entry can reach: the condition its log line names, and
    when the caller meets it, in the caller's words."""
    condition: str
    when: str


# Hard stops no entry can reach (internal invariants the library itself keeps), each with
# the reason; the generator's test requires every stop in the sources to be listed somewhere.
UNREACHABLE_STOPS = {}


def unreachable_stop(condition, why):
    UNREACHABLE_STOPS[condition] = why


STATUS = "LMV_STATUS"
VOID = "void"


@dataclass
class Entry:
    """A further entry function of an operation's slot: its own parameters and rule, and
    the arguments it passes to the slot's implementation (an older entry without strides
    passes each stride as the row size)."""
    name: str
    params: list
    rule: str
    args: List[str]
    doc: str = ""
    # A hand-written entry's own rows; the generator turns them into ilmvFits_<name>().
    remote: Optional["Remote"] = None
    gpu: Optional["Gpu"] = None
    stops: List["Stop"] = field(default_factory=list)  # hard stops this entry reaches beyond the operation's


@dataclass
class Op:
    slot: int
    name: str
    params: list
    ret: str = VOID
    forms: str = "CV"
    rule: Optional[str] = None     # assertion text; None for status-returning members
    remote: Optional[Remote] = None
    gpu: Optional[Gpu] = None
    doc: str = ""
    family: str = ""
    entry: bool = True             # the slot's own entry function exists under its name
    entries: List[Entry] = field(default_factory=list)
    # Entry functions written by hand (their own pre-checks and choice rules): declared in the
    # family header from here, defined in src/core.
    manual_entries: List[Entry] = field(default_factory=list)
    internal: bool = False         # an internal slot: forms only, no entry function
    rule_by: Optional[str] = None  # the parameter that picks the rule from `rules`
    rules: dict = field(default_factory=dict)
    aliases: dict = field(default_factory=dict)  # other names the rule text uses
    cases: bool = True             # SIMD-against-reference cases can be generated
    case_min_width: int = 1        # narrower images stop the process by design
    follows_slot: Optional[int] = None  # no slot of its own: runs the form chosen for this one
    # Forms that are one call of a frame function shared by the reference and SIMD forms:
    # the call, with {rows} standing for the form's row-kernel table, and its header.
    frame: Optional[str] = None
    frame_header: Optional[str] = None
    # Statements the entry runs after the stride defaults, before choosing (a raised border).
    prelude: List[str] = field(default_factory=list)
    stops: List[Stop] = field(default_factory=list)  # deliberate hard stops its entries reach
    # Forms that are one walk of the family (binary, maskedBinary, unary, channels, fill,
    # mean) with the member's element rule: the walk's name and the rule, a C++ expression
    # over the parameters (for a mean, the type of the total).
    walk: Optional[str] = None
    element: Optional[str] = None
    # Remote forms whose marshalling is written by hand (a structure of pointers the flat
    # pointer-and-length rule cannot describe): the generator declares and registers them.
    remote_by_hand: bool = False
    # The GPU engine that runs the G form: a call over the form's parameters, or just the
    # engine's name when it takes them as they are. The G form falls back to SIMD when the
    # engine fails.
    gpu_engine: Optional[str] = None

    def images(self):
        return [p for p in self.params if isinstance(p, Image)]

    def simd(self):
        """The name of the form that serves as SIMD: the reference where there is no SIMD form."""
        return self.name + ("V" if self.has_form("V") else "C")

    def has_form(self, f):
        return f in self.form_list()

    def form_list(self):
        out, i = [], 0
        while i < len(self.forms):
            two = self.forms[i:i + 2]
            if two in ("Xa", "Xc", "Xm"):
                out.append(two)
                i += 2
            else:
                out.append(self.forms[i])
                i += 1
        return out


OPS: List[Op] = []
_family = [""]


def family(name):
    _family[0] = name


def op(slot, name, params, **kw):
    entry = Op(slot, name, params, family=_family[0], **kw)
    OPS.append(entry)
    return entry


# The border parameters of the status generations of windowed operations, and their words.
BORDER_PARAMS = [Scalar("borderType", "LMV_BORDER_TYPE", ["0", "1", "2"],
                        "LUMIVA_BORDER_UNDEFINED (border pixels not written), LUMIVA_BORDER_CONSTANT or "
                        "LUMIVA_BORDER_REPLICATE; any other value is status 3"),
                 Scalar("borderValue", "uint8_t", [], "the value outside the image with LUMIVA_BORDER_CONSTANT")]
BORDER_WORDS = (" Border: LUMIVA_BORDER_UNDEFINED leaves pixels whose window leaves the image as the destination "
                "held them; LUMIVA_BORDER_CONSTANT reads borderValue outside the image; LUMIVA_BORDER_REPLICATE "
                "repeats the nearest edge pixel.")


def default_remote(images, width, height, min_width=32):
    """The usual remote row: the area grows with the widest element, pointers and
    strides aligned to 8 for byte images and 4 for wider ones."""
    widest = max(i.elem.size * i.channels for i in images)
    area = f"(uint64_t){width} * {height}" + ("" if widest == 1 else f" * {min(widest, 8)}")
    align = 8 if all(i.elem.size == 1 for i in images) else 4
    aligned = []
    for i in images:
        aligned.append(i.name)
    for i in images:
        if i.stride not in aligned:
            aligned.append(i.stride)
    return Remote(area, align, aligned, f"{width} >= {min_width}")
