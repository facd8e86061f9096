"""The places of a C++ source at which one thing can be changed, and what each is changed to. Works on the text alone, in the
formatting that clang-format gives this tree; knows nothing of builds and tests."""

import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#[ \t]*(?!define\b)(?:[^\n\\]|\\\n|\\.)*)
      | (?P<define>^[ \t]*\#[ \t]*define[ \t]+\w+(?:\([^)]*\))?)
      | (?P<raw>R"(?P<mark>[^(\n]*)\(.*?\)(?P=mark)")
      | (?P<text>"(?:[^"\\\n]|\\.)*")
      | (?P<character>'(?:[^'\\\n]|\\.)+')
      | (?P<number>\b\d(?:[\w.]|'\w)*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<operator>->|\+\+|--|<=>|<<=|>>=|<<|<=|>=|==|!=|&&|\|\||\+=|-=|::|\.\.\.|[-+*/%<>=!&|^~?:;,.(){}\[\]#\\])""",
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)
OPENING = {"(": ")", "[": "]", "{": "}"}
RELATIONS = {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"]}
STEPS = {"+": "-", "-": "+", "+=": "-=", "-=": "+=", "++": "--", "--": "++"}
NO_CALL = {"return", "throw", "case", "using", "static_assert", "delete", "goto", "if", "for", "while", "switch", "do",
           "else", "typedef", "template", "class", "struct", "enum", "namespace", "extern", "friend", "explicit", "new"}
NEVER_SWAPPED = {"ctx", "function", "__func__"}  # no other argument has their types
LONGEST_SWAPPED = 8  # tokens of an argument that is swapped with its neighbour


@dataclass(frozen=True)
class Mutant:
    """One change: the characters from `start` to `end` of the file at `path` become `text`."""

    path: str
    kind: str
    start: int
    end: int
    text: str

    def apply(self, source):
        return source[: self.start] + self.text + source[self.end :]

    def line(self, source):
        return source.count("\n", 0, self.start) + 1

    def key(self, source):
        """The change as its line in the list of explained survivors names it: holds while other lines come and go."""
        first = source.rfind("\n", 0, self.start) + 1
        last = source.find("\n", self.end)
        last = len(source) if last < 0 else last
        before = " ".join(source[first:last].split())
        after = " ".join((source[first : self.start] + self.text + source[self.end : last]).split())
        earlier = sum(" ".join(line.split()) == before for line in source[:first].split("\n"))
        place = self.path if earlier == 0 else f"{self.path}#{earlier + 1}"
        return f"{place}: {self.kind}: {before} => {after}"


@dataclass(frozen=True)
class Token:
    type: str
    text: str
    start: int
    end: int


def tokens_of(source):
    found = []
    for match in TOKEN.finditer(source):
        if match.lastgroup not in ("comment", "directive", "define", "raw", "mark"):
            found.append(Token(match.lastgroup, match.group(), match.start(), match.end()))
        elif match.lastgroup == "define":
            # Nothing before the body of a macro belongs to it.
            found.append(Token("operator", ";", match.end(), match.end()))
    return found


def matching(tokens):
    """The partner of every bracket, by position in `tokens`."""
    partners, opened = {}, []
    for i, token in enumerate(tokens):
        if token.type != "operator":
            continue
        if token.text in OPENING:
            opened.append(i)
        elif token.text in OPENING.values() and opened and OPENING[tokens[opened[-1]].text] == token.text:
            partners[i] = opened.pop()
            partners[partners[i]] = i
    return partners


class Finder:
    """Finds the mutants of one file."""

    def __init__(self, path, source):
        self.path, self.source = path, source
        self.tokens = tokens_of(source)
        self.partners = matching(self.tokens)
        self.mutants = []
        self.left_alone = self.ranges_left_alone()

    def find(self):
        for i, token in enumerate(self.tokens):
            if any(first <= token.start < last for first, last in self.left_alone):
                continue
            self.operators(i, token)
            self.constants(i, token)
            self.texts(token)
            self.negations(i, token)
            self.removals(i, token)
            self.swapped_arguments(i, token)
            self.sizes(i, token)
        self.swapped_rows()
        return self.mutants

    def ranges_left_alone(self):
        """Assertions of the compiler, attributes, and linkage: a change of these is none, or is not compiled."""
        ranges = []
        for i, token in enumerate(self.tokens):
            if token.text in ("static_assert", "__attribute__", "alignas") and self.text(i + 1) == "(" and i + 1 in self.partners:
                ranges.append((token.start, self.tokens[self.partners[i + 1]].end))
            elif token.text == "[" and self.text(i + 1) == "[" and i in self.partners:
                ranges.append((token.start, self.tokens[self.partners[i]].end))
            elif token.text == "extern":
                ranges.append((token.start, self.tokens[min(i + 1, len(self.tokens) - 1)].end))
        return ranges

    def text(self, i):
        return self.tokens[i].text if 0 <= i < len(self.tokens) else ""

    def change(self, kind, first, last, text):
        """Replaces the tokens `first` to `last`."""
        self.mutants.append(Mutant(self.path, kind, self.tokens[first].start, self.tokens[last].end, text))

    def stands_apart(self, token):
        """A binary operator: the formatter puts blanks around it, and none inside of template arguments."""
        around = self.source[token.start - 1 : token.start] + self.source[token.end : token.end + 1]
        return len(around) == 2 and around.isspace()

    def operators(self, i, token):
        if token.type != "operator":
            return
        if token.text in RELATIONS and self.stands_apart(token):
            for other in RELATIONS[token.text]:
                self.change("relation", i, i, other)
        elif token.text in ("&&", "||") and self.stands_apart(token):
            self.change("logic", i, i, "||" if token.text == "&&" else "&&")
        elif token.text in STEPS and (self.stands_apart(token) or len(token.text) == 2):
            self.change("step", i, i, STEPS[token.text])

    def constants(self, i, token):
        if token.text in ("true", "false"):
            self.change("constant", i, i, "false" if token.text == "true" else "true")
        if token.type != "number":
            return
        parts = re.fullmatch(r"(0[xX][0-9a-fA-F']+|\d[\d']*)([uUlLzZ]*)", token.text)
        if parts is None:
            return
        value = int(parts[1].replace("'", ""), 0 if parts[1][:2].lower() == "0x" else 10)
        for other in [value + 1] + [value - 1] * (value > 0):
            self.change("constant", i, i, (hex(other) if parts[1][:2].lower() == "0x" else str(other)) + parts[2])

    def texts(self, token):
        if token.type not in ("text", "character"):
            return
        inside = token.text[1:-1]
        letter = re.search(r"(?<![%\\])[A-Za-z0-9/._-]", inside)
        if letter is not None:
            other = "y" if letter.group() == "x" else "x"
            text = token.text[0] + inside[: letter.start()] + other + inside[letter.end() :] + token.text[-1]
        elif inside and token.type == "text":
            text = '""'
        else:
            return
        self.mutants.append(Mutant(self.path, "text", token.start, token.end, text))

    def negations(self, i, token):
        if token.text == "!" and self.text(i + 1) != "=":
            self.change("negation", i, i, "")
        if token.text != "if":
            return
        opening = i + 2 if self.text(i + 1) == "constexpr" else i + 1
        closing = self.partners.get(opening)
        if self.text(opening) != "(" or closing is None:
            return
        first = opening + 1
        for k in range(first, closing):
            if self.text(k) == ";":
                first = k + 1
        start, end = self.tokens[first].start, self.tokens[closing - 1].end
        self.mutants.append(Mutant(self.path, "negation", start, end, f"!({self.source[start:end]})"))

    def statement_end(self, i):
        """The semicolon that ends the statement from `i` on; none if a block or the end of one comes first."""
        while i < len(self.tokens) and self.text(i) != ";":
            if self.text(i) in ("}", ")", "]"):
                return None
            i = self.partners[i] + 1 if self.text(i) in OPENING and i in self.partners else i + 1
        return i if i < len(self.tokens) else None

    def under_condition(self, i):
        """Whether the statement at `i` is done on a condition only, so that others follow when it is not there."""
        if self.text(i - 1) == ")":
            return self.text(self.partners.get(i - 1, 0) - 1) in ("if", "constexpr")
        depth, k = 0, i - 1
        while k >= 0:
            if self.text(k) == "}":
                depth += 1
            elif self.text(k) == "{":
                if depth == 0:
                    break
                depth -= 1
            k -= 1
        return self.text(k - 1) == ")" and self.text(self.partners.get(k - 1, 0) - 1) in ("if", "for", "while")

    def removals(self, i, token):
        if token.type != "word" or self.text(i - 1) not in (";", "{", "}", ")", "else", "\\"):
            return
        end = self.statement_end(i)
        if end is None or re.search(r"(?<!\\)\n[ \t]*#", self.source[token.start : self.tokens[end].end]):
            return
        if token.text in ("return", "throw", "continue", "break"):
            if self.under_condition(i):
                self.change("early exit", i, end, "{}")
        elif token.text not in NO_CALL and self.text(end - 1) == ")" and self.is_call(i, end):
            self.change("call", i, end, "{}")

    def is_call(self, first, end):
        k = first
        while k < end:
            if self.text(k) == "=" or (self.tokens[k].type == "word" and self.tokens[k + 1].type == "word"):
                return False
            if self.text(k) in OPENING:
                if k not in self.partners:
                    return False
                # Between a call's brackets anything may stand; a declaration's type and name come before them.
                k = self.partners[k]
            elif self.text(k) in ("&", "*") and self.tokens[k - 1].type == "word":
                return False
            k += 1
        return True

    def swapped_arguments(self, i, token):
        if token.text != "(" or i not in self.partners or self.tokens[i - 1].type != "word" or self.text(i - 1) in NO_CALL:
            return
        arguments, first, k = [], i + 1, i + 1
        closing = self.partners[i]
        while k <= closing:
            if k == closing or self.text(k) == ",":
                if k > first:
                    arguments.append((first, k - 1))
                first = k + 1
            elif self.text(k) in OPENING and k in self.partners:
                k = self.partners[k]
            k += 1
        for (a, b), (c, d) in zip(arguments, arguments[1:]):
            if max(b - a, d - c) >= LONGEST_SWAPPED or self.declares(a, b) or self.declares(c, d):
                continue
            one = self.source[self.tokens[a].start : self.tokens[b].end]
            other = self.source[self.tokens[c].start : self.tokens[d].end]
            between = self.source[self.tokens[b].end : self.tokens[c].start]
            if one != other and not {one, other} & NEVER_SWAPPED:
                self.change("arguments", a, d, other + between + one)

    def declares(self, first, last):
        """A parameter: type and name."""
        return any(self.tokens[k].type == "word" and self.tokens[k + 1].type == "word" for k in range(first, last)) or any(
            self.text(k) in ("*", "&", "...") for k in range(first + 1, last + 1))

    def sizes(self, i, token):
        if token.text == "sizeof":
            last = self.partners.get(i + 1, i + 1)
            self.change("size", i, last, f"({self.source[token.start : self.tokens[last].end]} - 1)")
        elif token.type == "word" and token.text.endswith("_size") and self.text(i - 1) in (",", "(", "::", "["):
            if self.text(i + 1) in (",", ")", "]"):
                for step in ("- 1", "+ 1"):
                    self.change("size", i, i, f"{token.text} {step}")

    def swapped_rows(self):
        lines = [(match.start(), match.group()) for match in re.finditer(r"[^\n]+", self.source)]
        for (start, line), (other_start, other) in zip(lines, lines[1:]):
            indented = len(line) - len(line.lstrip())
            if re.match(r"\s*\{.*\},?$", line) and re.match(r"\s*\{.*\},$", other) and line.endswith(",") and line != other:
                self.mutants.append(Mutant(self.path, "rows", start, other_start + len(other), other + "\n" + line))
            row = re.match(r"(OC|XO)_[A-Z_]+\(", line)
            if indented or row is None or not other.startswith(row.group()):
                continue
            ours, theirs = re.search(r'"[^"]*"', line), re.search(r'"[^"]*"', other)
            if ours and theirs and ours.group() != theirs.group():
                # Either node is taken for the other.
                text = line[: ours.start()] + theirs.group() + line[ours.end() :]
                text += self.source[start + len(line) : other_start]
                text += other[: theirs.start()] + ours.group() + other[theirs.end() :]
                self.mutants.append(Mutant(self.path, "rows", start, other_start + len(other), text))


def mutants_of(path, source):
    """Every mutant of the file, in the order of their places."""
    unique = {(mutant.start, mutant.end, mutant.text): mutant for mutant in Finder(path, source).find()}
    return sorted(unique.values(), key=lambda mutant: (mutant.start, mutant.end, mutant.text))
