"""Where a source can be broken, and how: from its syntax tree to a list of points, each of which holds one breakage or
some. Knows nothing of builds and tests; schemata.py writes the points into a copy of the source."""
import re
from dataclasses import dataclass, field

from clang import cindex
from clang.cindex import CursorKind as Kind, TypeKind

RELATIONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
LOGIC = {"&&": "||", "||": "&&"}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "<<": ">>", ">>": "<<", "&": "|", "|": "&", "^": "&"}
ASSIGNED = {operator + "=": other + "=" for operator, other in ARITHMETIC.items()}
EQUALITY = {"==", "!="}
LOOPS = {Kind.WHILE_STMT, Kind.FOR_STMT, Kind.DO_STMT, Kind.CXX_FOR_RANGE_STMT}
FUNCTIONS = {Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION,
             Kind.FUNCTION_TEMPLATE}
# What stands in these must be known to the compiler.
CONSTANT = {Kind.STATIC_ASSERT, Kind.ENUM_CONSTANT_DECL, Kind.CXX_UNARY_EXPR, Kind.ALIGNED_ATTR, Kind.TYPE_ALIAS_DECL,
            Kind.TYPEDEF_DECL}
WRAPPERS = {Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR}
LITERALS = {Kind.INTEGER_LITERAL, Kind.FLOATING_LITERAL, Kind.CHARACTER_LITERAL, Kind.STRING_LITERAL,
            Kind.CXX_BOOL_LITERAL_EXPR}
SIGNED_OR_NOT = {TypeKind.CHAR_S, TypeKind.CHAR_U, TypeKind.SCHAR, TypeKind.UCHAR, TypeKind.SHORT, TypeKind.USHORT,
                 TypeKind.INT, TypeKind.UINT, TypeKind.LONG, TypeKind.ULONG, TypeKind.LONGLONG, TypeKind.ULONGLONG,
                 TypeKind.FLOAT, TypeKind.DOUBLE, TypeKind.LONGDOUBLE, TypeKind.ENUM}


@dataclass(eq=False)
class Region:
    """A declaration with constexpr, which its breakages need gone. Without them it stays."""
    start: int
    end: int
    keyword: int
    instead: str


@dataclass(eq=False)
class Point:
    """Breakages of one piece of text. `before` and `after` are what goes around it, with {0} for the first's number."""
    start: int
    end: int
    before: str
    after: str
    told: list
    region: Region = None
    depth: int = 0


@dataclass
class Found:
    points: list = field(default_factory=list)
    constants_left_out: int = 0


class Source:
    """A parsed file. Offsets count bytes, so its text is held as one character for each byte."""

    def __init__(self, path, arguments):
        self.path = path
        with open(path, "rb") as stream:
            self.text = stream.read().decode("latin-1")
        unit = cindex.Index.create().parse(path, args=arguments, options=cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
        self.errors = [str(fault) for fault in unit.diagnostics if fault.severity >= cindex.Diagnostic.Error]
        self.unit = unit
        self.macros = [span(cursor) for cursor in unit.cursor.get_children()
                       if cursor.kind == Kind.MACRO_INSTANTIATION and self.is_here(cursor)]

    def is_here(self, cursor):
        file = cursor.location.file
        return file is not None and file.name == self.path

    def is_plain(self, start, end):
        """Whether a piece of text is what the compiler sees: it neither lies in a macro nor begins or ends inside one."""
        return not any((first <= start and end <= last) or first < start < last or first < end < last
                       for first, last in self.macros)


def span(cursor):
    return cursor.extent.start.offset, cursor.extent.end.offset


def kind_of(cursor):
    try:
        return cursor.kind
    except ValueError:  # newer than the bindings
        return Kind.UNEXPOSED_EXPR


def bare(cursor):
    """The expression without what the compiler wraps around it."""
    while kind_of(cursor) in WRAPPERS:
        children = list(cursor.get_children())
        if len(children) != 1:
            return cursor
        cursor = children[0]
    return cursor


def type_kind(cursor):
    return cursor.type.get_canonical().kind


def shown(text):
    """Text of the source in one line, as people and results know it."""
    text = re.sub(r"\s+", " ", text.encode("latin-1").decode("utf-8", "replace")).strip()
    return text if len(text) <= 100 else text[:60] + " … " + text[-36:]


def without_comments(text):
    return re.sub(r"/\*.*?\*/|//[^\n]*", " ", text, flags=re.S)


def changed_letter(literal):
    """The literal with one letter changed, which is none of an escape or of a conversion; None when it has no such."""
    for match in re.finditer(r'"((?:\\.|[^"\\])*)"', literal):
        plain = re.sub(r"\\(x[0-9A-Fa-f]+|[0-7]{1,3}|.)|%[-+ #0]*[0-9*]*(\.[0-9*]*)?[hlzjt]*[a-zA-Z%]",
                       lambda taboo: "\0" * len(taboo.group()), match.group(1))
        letters = [i for i, letter in enumerate(plain) if letter.isascii() and letter.isalnum()]
        others = [i for i, letter in enumerate(plain) if letter.isascii() and letter.isprintable() and letter not in "\\\"?"]
        if not letters and not others:
            continue
        place = letters[len(letters) // 2] if letters else others[0]
        letter = plain[place]
        other = {"z": "y", "Z": "Y", "9": "8"}.get(letter) or (chr(ord(letter) + 1) if letters else "~" if letter != "~" else "-")
        place += match.start(1)
        return literal[:place] + other + literal[place + 1:]
    return None


class Finder:
    def __init__(self, source):
        self.source = source
        self.found = Found()
        self.region = None
        self.results = []  # of the functions around: a type, or None where the compiler finds it out
        self.conditions = set()

    # What is put down

    def add(self, start, end, before, after, told):
        if start < end and self.source.is_plain(start, end):
            depth = len(self.found.points)
            self.found.points.append(Point(start, end, before, after, told, self.region, depth))

    def text(self, cursor):
        start, end = span(cursor)
        return self.source.text[start:end]

    def add_choice(self, cursor, others):
        """Another text instead of an expression's: others is [(text, what is told of it)]."""
        start, end = span(cursor)
        choice = "".join(f"migr_mutation::on({{{i}}}) ? ({text}) : " for i, (text, _) in enumerate(escape(others)))
        self.add(start, end, f"({choice}(", "))", [told for _, told in others])

    def add_condition(self, cursor, whole):
        """whole: the condition decides by itself, so its negation is no other's breakage."""
        core = bare(cursor)
        if kind_of(core) == Kind.CXX_BOOL_LITERAL_EXPR or span(cursor) in self.conditions:
            return
        self.conditions.add(span(cursor))
        start, end = span(cursor)
        name = shown(self.text(cursor))
        told = [f"`{name}` is always true", f"`{name}` is always false"]
        function = "fixed"
        if whole:
            function, told = "truth", [f"`{name}` is negated"] + told
        self.add(start, end, f"migr_mutation::{function}({{0}}, static_cast<bool>(", "))", told)

    def add_left_out(self, cursor):
        start, end = span(cursor)
        self.add(start, end, "(migr_mutation::on({0}) ? (void)0 : (void)(", "))",
                 [f"`{shown(self.text(cursor))}` is left out"])

    # What is looked at

    def operator(self, cursor):
        children = list(cursor.get_children())
        if len(children) != 2:
            return None, children
        between = without_comments(self.source.text[span(children[0])[1]:span(children[1])[0]]).strip()
        return between, children

    def overloaded_relation(self, cursor):
        return kind_of(cursor) == Kind.CALL_EXPR and cursor.spelling in ("operator==", "operator!=", "operator<", "operator>",
                                                                     "operator<=", "operator>=")

    def is_truth(self, cursor):
        """Whether an expression compares or decides, wherever it stands."""
        core = bare(cursor)
        kind = kind_of(core)
        if kind == Kind.BINARY_OPERATOR:
            operator, _ = self.operator(core)
            return operator in RELATIONS or operator in LOGIC or operator in EQUALITY
        if kind == Kind.UNARY_OPERATOR:
            return self.text(core).startswith("!")
        return self.overloaded_relation(core)

    def visit_binary(self, cursor):
        operator, children = self.operator(cursor)
        if operator in LOGIC:
            for child in children:
                self.add_condition(child, False)
        other = RELATIONS.get(operator) or LOGIC.get(operator)
        if not other and operator in ARITHMETIC and type_kind(cursor) in SIGNED_OR_NOT:
            other = ARITHMETIC[operator]
        if not other and operator in ("+", "-") and type_kind(cursor) == TypeKind.POINTER:
            other = ARITHMETIC[operator]
        if other:
            left, right = (self.text(child) for child in children)
            self.add_choice(cursor, [(f"({left}) {other} ({right})",
                                      f"`{shown(self.text(cursor))}` with `{other}` for `{operator}`")])

    def visit_assigned(self, cursor):
        operator, children = self.operator(cursor)
        if operator in ASSIGNED and type_kind(cursor) in SIGNED_OR_NOT:
            left, right = (self.text(child) for child in children)
            self.add_choice(cursor, [(f"{left} {ASSIGNED[operator]} {right}",
                                      f"`{shown(self.text(cursor))}` with `{ASSIGNED[operator]}`")])

    def visit_number(self, cursor):
        text = self.text(cursor)
        value = None
        try:
            value = int(re.sub(r"[uUlLzZ']+$", "", text).replace("'", ""), 0)
        except ValueError:
            if re.fullmatch(r"0[0-7]+[uUlL]*", text):
                value = int(text.rstrip("uUlL"), 8)
        others = [(f"{text} + 1", f"`{text}` becomes one more"), (f"{text} - 1", f"`{text}` becomes one less")]
        if value not in (0, 1):
            others.append((f"{text} * 0", f"`{text}` becomes 0"))
        self.add_choice(cursor, others)

    def visit_letter(self, cursor):
        text = self.text(cursor)
        self.add_choice(cursor, [(f"decltype({text})({text} + 1)", f"`{shown(text)}` becomes the next letter")])

    def visit_bool(self, cursor):
        text = self.text(cursor)
        other = "false" if text == "true" else "true"
        self.add_choice(cursor, [(other, f"`{text}` becomes `{other}`")])

    def visit_string(self, cursor):
        text = self.text(cursor)
        length = cursor.type.element_count - 1 if cursor.type.kind == TypeKind.CONSTANTARRAY else 0
        suffix = re.search(r'"(\w*)$', text)
        others = []
        changed = changed_letter(text)
        if changed:
            others.append((changed, f"`{shown(text)}` becomes `{shown(changed)}`"))
        if suffix and suffix.group(1):
            others.append(('""' + suffix.group(1), f"`{shown(text)}` becomes empty"))
        elif length > 0:
            # As long as before, so that its type stays and it still is what a reader of C text takes for nothing.
            others.append(('"' + "\\0" * length + '"', f"`{shown(text)}` becomes empty"))
        else:
            others = [('(const char *)"?"', f"`{text}` becomes `\"?\"`")]
        start, end = span(cursor)
        choice = "".join(f"migr_mutation::on({{{i}}}) ? {other} : " for i, (other, _) in enumerate(escape(others)))
        self.add(start, end, f"({choice}", ")", [told for _, told in others])

    def visit_array_of_letters(self, cursor):
        """char name[] = "text" takes no choice of two texts, so it gets one for each letter."""
        literal = next(child for child in cursor.get_children() if kind_of(child) == Kind.STRING_LITERAL)
        text = self.text(literal)
        if not re.fullmatch(r'"[^"\\]*"', text) or len(text) < 3:
            return
        letters = text[1:-1]
        changed = changed_letter(text)[1:-1]
        pieces = []
        for letter, other in zip(letters, changed):
            same, new = ord(letter), ord(other)
            first = f"migr_mutation::on({{0}}) ? (char){new} : " if new != same else ""
            pieces.append(f"(char)({first}migr_mutation::on({{1}}) ? 0 : {same})")
        start, end = span(literal)
        told = [f"`{shown(text)}` becomes `\"{shown(changed)}\"`", f"`{shown(text)}` becomes empty"]
        self.add(start, end, "{{" + ", ".join(pieces) + ", 0}} /*", "*/", told)

    def whole_statement(self, cursor):
        """With its semicolon; that behind a macro ends something else."""
        start, end = span(cursor)
        return start, self.source.text.index(";", end) + 1 if self.source.is_plain(start, end) else start

    def visit_return(self, cursor):
        children = list(cursor.get_children())
        if not children:
            return
        value = children[0]
        result = self.results[-1] if self.results else None
        kind = type_kind(value) if result is None else result.get_canonical().kind
        if kind == TypeKind.BOOL:
            self.add_condition(value, True)
            return
        if kind == TypeKind.VOID:
            if kind_of(bare(value)) == Kind.CALL_EXPR:
                self.add_left_out(value)
            return
        core = bare(value)
        text = self.text(value)
        if result is None or kind in (TypeKind.LVALUEREFERENCE, TypeKind.RVALUEREFERENCE) or \
                kind_of(core) in LITERALS or text in ("nullptr", "{}", "NULL"):
            return
        start, end = self.whole_statement(cursor)
        self.add(start, end, "{{ if (migr_mutation::on({0})) return {{}}; ", " }}",
                 [f"`{shown(self.source.text[start:end])}` gives nothing"])

    def visit_leaving(self, cursor, word):
        start, end = self.whole_statement(cursor)
        self.add(start, end, "{{ if (!migr_mutation::on({0})) ", " }}", [f"`{word}` is left out"])

    def visit_statement(self, cursor):
        core = bare(cursor)
        kind = kind_of(core)
        if kind in (Kind.CALL_EXPR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.CXX_DELETE_EXPR):
            self.add_left_out(cursor)
        elif kind == Kind.BINARY_OPERATOR and self.operator(core)[0] == "=":
            self.add_left_out(cursor)
        elif kind == Kind.UNARY_OPERATOR and re.match(r"\+\+|--|.*(\+\+|--)$", self.text(core), re.S):
            self.add_left_out(cursor)

    def condition_of_if(self, cursor, children):
        """None for if constexpr. With a declaration as condition the value is looked at behind it."""
        start, _ = span(cursor)
        head = without_comments(self.source.text[start:start + 40])
        if re.match(r"if\s+constexpr\b", head):
            return None
        first, last = self.parentheses(start)
        inside = [child for child in children if first < span(child)[0] and span(child)[1] <= last]
        declared = [child for child in inside if kind_of(child) == Kind.VAR_DECL]
        if declared and span(declared[0])[1] >= last - 1:
            self.add_declared_condition(declared[0])
        elif inside and kind_of(inside[-1]) not in (Kind.DECL_STMT, Kind.VAR_DECL):
            self.add_condition(inside[-1], True)
        return inside

    def add_declared_condition(self, cursor):
        start, end = span(cursor)
        name = cursor.spelling
        if not name or ";" in self.source.text[self.source.text.rindex("if", 0, start):start]:
            return
        told = [f"`{shown(self.text(cursor))}` is negated", f"`{shown(self.text(cursor))}` is taken for true",
                f"`{shown(self.text(cursor))}` is taken for false"]
        self.add(start, end, "", f"; migr_mutation::truth({{0}}, static_cast<bool>({name}))", told)

    def parentheses(self, start):
        """Where the parentheses behind a keyword open and close. Texts and letters in between may hold some, too."""
        text = self.source.text
        place = first = text.index("(", start)
        depth = 0
        for match in re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'|/\*.*?\*/|//[^\n]*|[()]', re.S).finditer(text, place):
            depth += {"(": 1, ")": -1}.get(match.group(), 0)
            if depth == 0:
                return first, match.start()
        return first, len(text)

    def condition_of_loop(self, cursor, kind, children):
        start, end = span(cursor)
        if kind == Kind.DO_STMT:
            self.add_condition(children[-1], True)
        elif kind == Kind.WHILE_STMT and kind_of(children[0]) not in (Kind.VAR_DECL, Kind.DECL_STMT):
            self.add_condition(children[0], True)
        elif kind == Kind.FOR_STMT:
            first, last = self.parentheses(start)
            semicolons = self.semicolons(first, last)
            for child in children:
                if len(semicolons) == 2 and semicolons[0] < span(child)[0] and span(child)[1] <= semicolons[1]:
                    self.add_condition(child, True)

    def semicolons(self, first, last):
        text = self.source.text
        found, depth = [], 0
        for match in re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'|/\*.*?\*/|//[^\n]*|[()\[\]{};]', re.S).finditer(text, first, last):
            depth += {"(": 1, "[": 1, "{": 1, ")": -1, "]": -1, "}": -1}.get(match.group(), 0)
            if match.group() == ";" and depth == 1:
                found.append(match.start())
        return found

    # The way through the tree

    def visit_declaration(self, cursor):
        start, end = span(cursor)
        head = self.source.text[start:cursor.location.offset]
        keyword = re.search(r"\b(constexpr|constinit|consteval)\b", head)
        before = self.region
        if keyword:
            self.region = Region(start, end, start + keyword.start(), self.instead_of_constexpr(cursor, head))
        children = list(cursor.get_children())
        kind = kind_of(cursor)
        is_letters = kind == Kind.VAR_DECL and cursor.type.kind in (TypeKind.CONSTANTARRAY, TypeKind.INCOMPLETEARRAY) and \
            any(kind_of(child) == Kind.STRING_LITERAL for child in children)
        if is_letters:
            self.visit_array_of_letters(cursor)
            children = []
        for child in children:
            place = span(child)[0]
            if place < cursor.location.offset or self.source.text[:place].rstrip().endswith("["):
                self.leave_out(child)
            else:
                self.visit(child)
        self.region = before

    def instead_of_constexpr(self, cursor, head):
        if kind_of(cursor) in FUNCTIONS:
            return "" if re.search(r"\b(static|inline)\b", head) else "inline"
        const = "" if re.search(r"\bconst\b", head) else "const"
        in_record = kind_of(cursor.semantic_parent) in (Kind.STRUCT_DECL, Kind.CLASS_DECL)
        return const + (" inline" if in_record and "inline" not in head else "")

    def leave_out(self, cursor):
        if kind_of(cursor) in LITERALS:
            self.found.constants_left_out += 1
        for child in cursor.get_children():
            self.leave_out(child)

    def visit_function(self, cursor, kind):
        self.results.append(None if kind == Kind.LAMBDA_EXPR else cursor.result_type)
        if kind == Kind.LAMBDA_EXPR:
            self.visit_children(cursor)
        else:
            self.visit_declaration(cursor)
        self.results.pop()

    def visit_children(self, cursor):
        for child in cursor.get_children():
            self.visit(child)

    def visit(self, cursor):
        kind = kind_of(cursor)
        start, end = span(cursor)
        if kind in CONSTANT:
            return self.leave_out(cursor)
        if kind in FUNCTIONS or kind == Kind.LAMBDA_EXPR:
            return self.visit_function(cursor, kind)
        if kind in (Kind.VAR_DECL, Kind.FIELD_DECL):
            return self.visit_declaration(cursor)
        if kind == Kind.CASE_STMT:
            label, *body = list(cursor.get_children())
            self.leave_out(label)
            for child in body:
                self.visit_as_statement(child)
            return None
        children = list(cursor.get_children())
        if kind == Kind.IF_STMT:
            inside = self.condition_of_if(cursor, children)
            if inside is None:
                first, last = self.parentheses(start)
                children = [child for child in children if span(child)[0] > last]
            self.visit_with_bodies(cursor, children)
            return None
        if kind in LOOPS:
            self.condition_of_loop(cursor, kind, children)
            self.visit_with_bodies(cursor, children)
            return None
        if kind in (Kind.COMPOUND_STMT, Kind.DEFAULT_STMT):
            for child in children:
                self.visit_as_statement(child)
            return None
        self.visit_expression(cursor, kind)
        if kind not in LITERALS:
            self.visit_children(cursor)
        return None

    def visit_with_bodies(self, cursor, children):
        start, end = span(cursor)
        first, last = self.parentheses(start)
        for child in children:
            if kind_of(cursor) != Kind.DO_STMT and span(child)[0] > last:
                self.visit_as_statement(child)
            else:
                self.visit(child)

    def visit_as_statement(self, cursor):
        self.visit_statement(cursor)
        self.visit(cursor)

    def visit_expression(self, cursor, kind):
        if kind not in WRAPPERS and self.is_truth(cursor):
            self.add_condition(cursor, True)
        if kind == Kind.BINARY_OPERATOR:
            self.visit_binary(cursor)
        elif kind == Kind.COMPOUND_ASSIGNMENT_OPERATOR:
            self.visit_assigned(cursor)
        elif kind == Kind.CONDITIONAL_OPERATOR:
            self.add_condition(next(cursor.get_children()), True)
        elif kind == Kind.RETURN_STMT:
            self.visit_return(cursor)
        elif kind == Kind.BREAK_STMT:
            self.visit_leaving(cursor, "break")
        elif kind == Kind.CONTINUE_STMT:
            self.visit_leaving(cursor, "continue")
        elif kind in (Kind.INTEGER_LITERAL, Kind.FLOATING_LITERAL):
            self.visit_number(cursor)
        elif kind == Kind.CHARACTER_LITERAL:
            self.visit_letter(cursor)
        elif kind == Kind.STRING_LITERAL:
            self.visit_string(cursor)
        elif kind == Kind.CXX_BOOL_LITERAL_EXPR:
            self.visit_bool(cursor)


def escape(others):
    """Texts become part of a format."""
    return [(text.replace("{", "{{").replace("}", "}}"), told) for text, told in others]


def find(source):
    finder = Finder(source)
    for cursor in source.unit.cursor.get_children():
        if source.is_here(cursor) and kind_of(cursor) != Kind.MACRO_INSTANTIATION:
            finder.visit(cursor)
    return finder.found
