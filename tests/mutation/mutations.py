"""Where the library can be broken, and how."""

import typing

import tree_sitter
import tree_sitter_cpp

# The export mark is a macro, which a parser of plain C++ takes for a type. Blanks leave every
# position as it is.
EXPORT_MARK = b"FLIGHTPATH_API"

OFF_BY_ONE, COMPARISON, SIGN, CONSTANT = "off by one", "comparison", "sign", "constant"

BINARY = {
    "<": [(OFF_BY_ONE, "<="), (COMPARISON, ">=")],
    "<=": [(OFF_BY_ONE, "<"), (COMPARISON, ">")],
    ">": [(OFF_BY_ONE, ">="), (COMPARISON, "<=")],
    ">=": [(OFF_BY_ONE, ">"), (COMPARISON, "<")],
    "==": [(COMPARISON, "!=")],
    "!=": [(COMPARISON, "==")],
    "&&": [(COMPARISON, "||")],
    "||": [(COMPARISON, "&&")],
    "+": [(SIGN, "-")],
    "-": [(SIGN, "+")],
    "*": [(SIGN, "/")],
    "/": [(SIGN, "*")],
    "+=": [(SIGN, "-=")],
    "-=": [(SIGN, "+=")],
    "*=": [(SIGN, "/=")],
    "/=": [(SIGN, "*=")],
}
UNARY = {
    "-": [(SIGN, "")],
    "!": [(COMPARISON, "")],
    "++": [(SIGN, "--")],
    "--": [(SIGN, "++")],
}
WITH_OPERATOR = {
    "binary_expression": BINARY,
    "assignment_expression": BINARY,
    "unary_expression": UNARY,
    "update_expression": UNARY,
}

# Template arguments are ranks and types of arrays, and extents of a parameter say nothing to the
# compiler.
NOT_LOOKED_INTO = ("static_assert_declaration", "template_argument_list", "parameter_declaration",
                   "preproc_include", "preproc_def", "attribute_declaration")


class Mutation(typing.NamedTuple):
    """One change: the bytes first ... last - 1 of a file become `after`."""

    file: str  # below the root
    line: int
    first: int
    last: int
    kind: str
    after: bytes
    line_before: str
    line_after: str

    def describe(self):
        return (f"{self.file}:{self.line}: {self.kind}\n"
                f"  - {self.line_before}\n  + {self.line_after}")


def literal_changes(text):
    """What a number may become. Integers move by one; others are doubled or moved; 0 becomes 1."""
    try:
        value = int(text.rstrip("uUlL").replace("'", ""), 0)
    except ValueError:
        if float.fromhex(text.rstrip("fF")) if text.startswith("0x") else float(text.rstrip("fF")):
            return [(CONSTANT, f"({text} * 2)"), (CONSTANT, f"({text} + 1)"), (CONSTANT, "0")]
        return [(CONSTANT, f"({text} + 1)")]
    suffix = text[len(text.rstrip("uUlL")):]
    changes = [(OFF_BY_ONE, f"{value + 1}{suffix}")]
    if value > 0:
        changes.append((OFF_BY_ONE, f"{value - 1}{suffix}"))
    if value > 1:
        changes.append((CONSTANT, f"0{suffix}"))
    return changes


def is_assertion(node):
    function = node.child_by_field_name("function") if node.type == "call_expression" else None
    return function is not None and function.text == b"assert"


def changes_of(node):
    """The part of a node that can change, and what it can become."""
    if node.type in WITH_OPERATOR:
        operator = node.child_by_field_name("operator")
        return operator, WITH_OPERATOR[node.type].get(operator.text.decode(), [])
    if node.type == "number_literal":
        return node, literal_changes(node.text.decode())
    if node.type in ("true", "false"):
        return node, [(CONSTANT, "false" if node.type == "true" else "true")]
    return node, []


def walk(node):
    """Every node that may be broken."""
    if node.type in NOT_LOOKED_INTO or is_assertion(node):
        return
    yield node
    for child in node.children:
        yield from walk(child)


def make(name, source, node, kind, after):
    """The change of one node, with its line as it was and as it becomes."""
    first, last = node.start_byte, node.end_byte
    line_start = source.rfind(b"\n", 0, first) + 1
    line_end = source.find(b"\n", last)
    changed = source[line_start:first] + after.encode() + source[last:line_end]
    return Mutation(name, node.start_point[0] + 1, first, last, kind, after.encode(),
                    source[line_start:line_end].decode().strip(), changed.decode().strip())


def sites_of(name, source, parser):
    """The places of one file, each with the changes that it allows."""
    tree = parser.parse(source.replace(EXPORT_MARK, b" " * len(EXPORT_MARK)))
    sites = []
    for node in walk(tree.root_node):
        part, changes = changes_of(node)
        if changes:
            sites.append([make(name, source, part, kind, after) for kind, after in changes])
    return sites


def all_sites(root):
    """Every place of the library that can be broken, in the order of files and lines."""
    parser = tree_sitter.Parser(tree_sitter.Language(tree_sitter_cpp.language()))
    sites = []
    for path in sorted((root / "flightpath").rglob("*")):
        if path.suffix in (".h", ".cpp"):
            sites += sites_of(str(path.relative_to(root)), path.read_bytes(), parser)
    return sites
