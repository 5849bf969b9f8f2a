"""Finds what can be changed in the library's sources, and writes copies of them that hold many changes at once.

A change (a mutant) has a number. In the copy, its place asks whether it is the one that the environment chose: `a < b`
becomes `(mutant::is(17) ? (a) <= (b) : a < b)`. So one build holds all mutants. What the compiler works out (constexpr
variables, template arguments, array bounds, case labels) stays as it is.
"""

import dataclasses
import pathlib
import re

from clang.cindex import CursorKind as Kind
from clang.cindex import TypeKind

BECOMES = {
    "<": ["<=", ">"], "<=": ["<", ">="], ">": [">=", "<"], ">=": [">", "<="], "==": ["!="], "!=": ["=="],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"], "<<": [">>"], ">>": ["<<"],
    "&": ["|"], "|": ["&"], "^": ["&"], "&&": ["||"], "||": ["&&"],
    "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "%=": ["*="], "<<=": [">>="], ">>=": ["<<="],
    "&=": ["|="], "|=": ["&="], "^=": ["&="], "++": ["--"], "--": ["++"],
}  # fmt: skip

FUNCTIONS = {
    Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION,
    Kind.FUNCTION_TEMPLATE, Kind.LAMBDA_EXPR,
}  # fmt: skip
REMOVABLE = {
    Kind.CALL_EXPR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.BINARY_OPERATOR, Kind.UNARY_OPERATOR, Kind.UNEXPOSED_EXPR,
    Kind.CXX_STATIC_CAST_EXPR, Kind.BREAK_STMT, Kind.CONTINUE_STMT, Kind.CXX_DELETE_EXPR,
}  # fmt: skip
COMMUTATIVE = {"min", "max", "swap", "sum", "product", "add"}
# Conditions that choose between two versions of one function, or between hosts. A fast loop does what the plain one
# does, so nothing is lost where it is left out; that it is left out where it must be is another matter (SLACK).
SAME_EITHER_WAY = re.compile(r"\b(hasBmi2|QOR_HAS_BMI2|isWide)\b")
# What a fast loop asks for before it begins. To ask for a byte more only makes it begin less often.
SLACK = re.compile(r"\bk(Wild|Input|Room)Slack\b|\bkFast(In|Out)put\b")
STRICTER = {">=": ">", "<": "<=", ">": ">=", "<=": "<"}
# Calls without an effect: one on this host, and a hint to the processor.
WITHOUT_EFFECT = re.compile(r"va_end\(|QOR_PREFETCH\(")
OTHER_HOSTS = re.compile(r"if constexpr \(isLittleEndian\)|if \(!isLittleEndian\)")
OPAQUE = {Kind.STATIC_ASSERT, Kind.CXX_UNARY_EXPR, Kind.TYPE_REF, Kind.PARM_DECL}
ZERO_FILL = re.compile(r"\b(clear|wipe|fill|memset)\b")
ASSERTED = re.compile(rb"\b(?:static_)?assert\(.*?\);$|^ *check\(\);$|^\s*#.*?$", re.M | re.S)


@dataclasses.dataclass(eq=False)
class Mutant:
    file: str
    line: int
    kind: str
    what: str
    source: str  # the line, as it stands
    place: tuple  # start, end and rank
    parts: list  # what is written instead: texts, and ranges of the source
    number: int = 0

    def __str__(self):
        return f"{self.file}: {self.source}: {self.what}"


# Of two places with the same range, the lower rank lies around the other. Of a CHOICE each mutant gives another
# expression; the others give all that is written, the source as it was included.
STATEMENT, CONDITION, ARGUMENTS, CHOICE = range(4)


class Source:
    """One source, and the mutants in it."""

    def __init__(self, root, name):
        self.name = name
        self.all = (root / name).read_bytes().decode("latin-1")
        self.lines = self.all.splitlines()
        self.mutants = {}
        self.kept = [m.span() for m in ASSERTED.finditer(self.all.encode("latin-1"))]

    def text(self, start, end):
        return self.all[start:end]

    def add(self, start, end, rank, kind, what, parts):
        if start >= end or any(a < end and start < b for a, b in self.kept):
            return
        line = self.all.count("\n", 0, start)
        what = re.sub(r"\s+", " ", what)
        mutant = Mutant(self.name, line + 1, kind, what, self.lines[line].strip(), (start, end, rank), parts)
        self.mutants.setdefault((start, end, rank, what), mutant)


class Copy:
    """A source with some of its mutants in it. `spans` tells which part of the text is which mutant's; `left_out` are
    those that found no place, since they overlap with another."""

    def __init__(self, source, mutants):
        self.source = source
        self.text = ""
        self.spans = []
        places = {}
        for mutant in mutants:
            places.setdefault(mutant.place, []).append(mutant)
        ordered = sorted(places, key=lambda place: (place[0], -place[1], place[2]))
        self._range(0, len(source.all), ordered, places)
        self.left_out = set(mutants) - {mutant for _, _, mutant in self.spans}

    def mutants_at(self, offset):
        """The mutants that the place is inside of; if there are none, those on its line."""
        start, end = self.text.rfind("\n", 0, offset) + 1, self.text.find("\n", offset)
        at = {mutant for first, last, mutant in self.spans if first <= offset <= last}
        return at or {mutant for first, last, mutant in self.spans if first < end and last > start}

    def _range(self, start, end, ordered, places):
        at = start
        for i, place in enumerate(ordered):
            if place[0] < at or place[1] > end:
                continue  # inside of the one before, or overlapping with it
            self.text += self.source.all[at : place[0]]
            inner = [p for p in ordered[i + 1 :] if place[0] <= p[0] and p[1] <= place[1]]
            self._place(place, inner, places)
            at = place[1]
        self.text += self.source.all[at:end]

    def _place(self, place, inner, places):
        mutants = places[place]
        if place[2] != CHOICE:
            self._parts(mutants[0], inner, places)
            return
        self.text += "("
        for mutant in mutants:
            self.text += f"mutant::is({mutant.number}) ? "
            self._parts(mutant, inner, places)
            self.text += " : "
        self._range(place[0], place[1], inner, places)
        self.text += ")"

    def _parts(self, mutant, inner, places):
        start = len(self.text)
        for part in mutant.parts:
            if isinstance(part, str):
                self.text += part.replace("@", str(mutant.number))
            else:
                self._range(*part, inner, places)
        self.spans.append((start, len(self.text), mutant))


def extent(cursor):
    return cursor.extent.start.offset, cursor.extent.end.offset


class Finder:
    """Walks through a translation unit and adds what it finds to the sources that it comes by."""

    def __init__(self, root, sources):
        self.root = root
        self.sources = sources
        self.source = None

    def walk(self, unit):
        for cursor in unit.cursor.get_children():
            path = pathlib.Path(cursor.location.file.name if cursor.location.file else "/")
            self.source = self.sources.get(str(path.relative_to(self.root)) if path.is_relative_to(self.root) else "")
            if self.source:
                self.declaration(cursor)

    def declaration(self, cursor):
        if cursor.kind in FUNCTIONS:
            self.function(cursor)
        elif cursor.kind == Kind.VAR_DECL:
            self.named_text(cursor)
        else:
            for child in cursor.get_children():
                self.declaration(child)

    def function(self, cursor):
        children = list(cursor.get_children())
        if not children or children[-1].kind not in (Kind.COMPOUND_STMT, Kind.CXX_TRY_STMT):
            return
        body = children[-1]
        if re.search(r"\bconsteval\b", self.source.text(cursor.extent.start.offset, body.extent.start.offset)):
            return
        for before, child in zip([None] + children, children):
            initialises = before is not None and before.kind == Kind.MEMBER_REF and cursor.kind == Kind.CONSTRUCTOR
            if child is body or initialises:
                self.visit(child)

    def named_text(self, cursor):
        """A text with a name is made at compile time. Its mutant is a second one, which the name then stands for."""
        start, end = extent(cursor)
        text = self.source.text(start, end)
        literal = re.search(r'"(?:[^"\\]|\\.)+"', text)
        if not literal or text.count('"') != 2 or not re.search(r"StaticText|const char\*", text):
            return
        name = cursor.spelling
        other = changed(literal[0])
        again = re.sub(rf"\b{name}\b", f"{name}_@", text.replace(literal[0], other), count=1)
        parts = [(start, end), f";\n{again};\n#define {name} (mutant::is(@) ? {name}_@ : {name})\n"]
        end = self.source.all.index(";", end) + 1
        self.source.add(start, end, STATEMENT, "text", f"{literal[0]} becomes {other}", parts)

    def visit(self, cursor, stands_alone=False):
        kind = cursor.kind
        children = list(cursor.get_children())
        if kind in OPAQUE:
            return
        if kind in FUNCTIONS:
            self.function(cursor)
            return
        if kind in (Kind.STRUCT_DECL, Kind.CLASS_DECL):
            self.declaration(cursor)
            return
        if kind == Kind.VAR_DECL:
            self.variable(cursor, children)
            return
        if stands_alone:
            self.statement(cursor, children)

        bodies = []
        if kind in (Kind.COMPOUND_STMT, Kind.CASE_STMT, Kind.DEFAULT_STMT):
            bodies = children
        elif kind == Kind.IF_STMT:
            bodies = self.if_statement(cursor, children)
            text = self.source.text(*extent(cursor))
            if OTHER_HOSTS.match(text):
                bodies = bodies[:1] if "constexpr" in text else []
            if OTHER_HOSTS.match(text) or re.match(r"if\s+constexpr\b", text):
                children = bodies
        elif kind == Kind.FOR_STMT:
            bodies = children[-1:]
            self.for_statement(children)
        elif kind in (Kind.WHILE_STMT, Kind.CXX_FOR_RANGE_STMT):
            bodies = children[-1:]
            if kind == Kind.WHILE_STMT:
                self.condition(children[0])
        elif kind == Kind.DO_STMT:
            bodies = children[:1]
            self.condition(children[1])
        elif kind == Kind.CONDITIONAL_OPERATOR:
            self.condition(children[0])
        elif kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
            self.binary(cursor, *children)
        elif kind == Kind.UNARY_OPERATOR and len(children) == 1:
            self.unary(cursor, children[0])
        elif kind == Kind.CALL_EXPR:
            self.call(cursor)
        else:
            self.literal(cursor)

        if kind == Kind.CASE_STMT:
            children = children[1:]
        for child in children:
            self.visit(child, child in bodies)

    def variable(self, cursor, children):
        start, end = extent(cursor)
        text = self.source.text(start, end)
        declared = re.split(r"[={(]", text, maxsplit=1)[0]
        if re.search(r"\b(constexpr|constinit|static)\b", declared):
            self.named_text(cursor)
            return
        for child in children:
            if child.kind.is_expression() and child.extent.start.offset >= start + len(declared):
                self.visit(child)
        is_array = "[" in declared or re.match(r"(const )?std::array\b", text)
        if is_array and re.search(r"\{\s*\}$", text) and self.source.all[end] == ";":
            parts = [(start, end), f"; mutant::spoil(@, {cursor.spelling});"]
            self.source.add(start, end + 1, STATEMENT, "zero fill", f"`{cursor.spelling}` begins as junk", parts)

    def statement(self, cursor, children):
        if cursor.kind not in REMOVABLE and (cursor.kind != Kind.RETURN_STMT or children):
            return
        start, end = extent(cursor)
        if self.source.all[end : end + 1] != ";":
            return
        text = self.source.text(start, end)
        if WITHOUT_EFFECT.match(text):
            return
        kind = "zero fill" if ZERO_FILL.search(text) else "statement"
        parts = ["{ if (!mutant::is(@)) { ", (start, end), "; } }"]
        self.source.add(start, end + 1, STATEMENT, kind, f"`{text}` is removed", parts)

    def if_statement(self, cursor, children):
        """Its branches. The condition may have a declaration before it, or be one."""
        for i, child in enumerate(children):
            if self.source.all[child.extent.end.offset :].lstrip().startswith(")"):
                if child.kind.is_expression() and not self.source.text(*extent(cursor)).startswith("if constexpr"):
                    self.condition(child)
                return children[i + 1 :]
        return []

    def for_statement(self, children):
        for child in children[:-1]:
            start, end = extent(child)
            if child.kind.is_expression() and self.source.all[end:].lstrip().startswith(";"):
                if self.source.all[:start].rstrip().endswith(";"):
                    self.condition(child)

    def condition(self, cursor):
        text = self.source.text(*extent(cursor))
        if SAME_EITHER_WAY.search(text):
            return
        if not cursor.kind.is_expression() or text in ("true", "false") or text.startswith("!"):
            return
        if cursor.kind == Kind.BINARY_OPERATOR and re.fullmatch(r"[^=!<>&|]+[=!]=[^=!<>&|]+", text):
            return  # the operators' own mutants say the same
        parts = ["mutant::flips(@, static_cast<bool>(", extent(cursor), "))"]
        self.source.add(*extent(cursor), CONDITION, "condition", f"`{text}` is negated", parts)

    def binary(self, cursor, left, right):
        (start, left_end), (right_start, end) = extent(left), extent(right)
        operator = re.sub(r"//[^\n]*", "", self.source.text(left_end, right_start)).strip()
        kind = "comparison" if operator in ("<", "<=", ">", ">=", "==", "!=") else "arithmetic"
        if operator in ("&&", "||"):
            kind = "condition"
        for other in BECOMES.get(operator, []):
            if STRICTER.get(operator) == other and SLACK.search(self.source.text(start, end)):
                continue
            if cursor.kind == Kind.BINARY_OPERATOR:
                parts = ["((", (start, left_end), f") {other} (", (right_start, end), "))"]
            else:
                parts = [(start, left_end), f" {other} ", (right_start, end)]
            self.source.add(*extent(cursor), CHOICE, kind, f"`{operator}` becomes `{other}`", parts)

    def unary(self, cursor, operand):
        start, end = extent(cursor)
        text = self.source.text(start, end)
        inside = extent(operand)
        if text.startswith("!"):
            parts = ["static_cast<bool>(", inside, ")"]
            self.source.add(start, end, CHOICE, "condition", f"`{text}` loses its `!`", parts)
        elif text[:2] in ("++", "--"):
            other = BECOMES[text[:2]][0]
            self.source.add(start, end, CHOICE, "arithmetic", f"`{text}` becomes `{other}`", [other, inside])
        elif text[-2:] in ("++", "--"):
            other = BECOMES[text[-2:]][0]
            self.source.add(start, end, CHOICE, "arithmetic", f"`{text}` becomes `{other}`", [inside, other])
        elif text.startswith("-"):
            self.source.add(start, end, CHOICE, "arithmetic", f"`{text}` loses its `-`", [inside])

    def literal(self, cursor):
        start, end = extent(cursor)
        text = self.source.text(start, end)
        others = []
        if cursor.kind == Kind.INTEGER_LITERAL and text[:1].isdigit():
            others = [f"{text} + 1", f"{text} - 1"]
        elif cursor.kind == Kind.CHARACTER_LITERAL and text.startswith("'"):
            others = [f"static_cast<char>({text} + 1)"]
        elif cursor.kind == Kind.CXX_BOOL_LITERAL_EXPR and text in ("true", "false"):
            others = ["false" if text == "true" else "true"]
        elif cursor.kind == Kind.STRING_LITERAL and re.fullmatch(r'"(?:[^"\\]|\\.)+"', text):
            others = [changed(text)]
        before, behind = self.source.all[max(0, start - 80) : start], self.source.all[end : end + 80]
        if re.search(r"<(?:[\w:]+, )*$", before) and re.match(r"(?:, [\w:]+)*>", behind):
            return  # an argument of a template
        kind = "text" if cursor.kind == Kind.STRING_LITERAL else "constant"
        for other in filter(lambda other: other != text, others):
            self.source.add(start, end, CHOICE, kind, f"`{text}` becomes `{other}`", [other])

    def call(self, cursor):
        """Two neighbours of the same type change places, where that can make a difference."""
        if cursor.spelling in COMMUTATIVE:
            return
        arguments = [argument for argument in cursor.get_arguments() if argument is not None]
        for first, second in zip(arguments, arguments[1:]):
            a, b = extent(first), extent(second)
            texts = self.source.text(*a), self.source.text(*b)
            between = self.source.text(a[1], b[0]).strip()
            if between != "," or texts[0] == texts[1] or texts[0].startswith("{") or texts[1].startswith("{"):
                continue
            if plain_type(first) is None or plain_type(first) != plain_type(second):
                continue
            parts = ["(mutant::is(@) ? (", b, ") : (", a, ")), (mutant::is(@) ? (", a, ") : (", b, "))"]
            self.source.add(a[0], b[1], ARGUMENTS, "arguments", f"`{texts[0]}, {texts[1]}` change places", parts)


def plain_type(cursor):
    canonical = cursor.type.get_canonical()
    if canonical.kind in (TypeKind.INVALID, TypeKind.DEPENDENT, TypeKind.UNEXPOSED, TypeKind.OVERLOAD):
        return None
    return re.sub(r"\bconst\b|&|\s", "", canonical.spelling)


def changed(literal):
    """A literal with one character changed, near its middle, and no conversion of printf's."""
    places = [i for i in range(1, len(literal) - 1) if not re.search(r"[%\\][a-z]*$", literal[: i + 1])]
    if not places:
        return literal.replace("\\n", "\\t")
    i = places[len(places) // 2]
    return literal[:i] + ("x" if literal[i] != "x" else "y") + literal[i + 1 :]
