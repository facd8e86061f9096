"""Puts many mutants into one text of their file, each behind a question for its number, so that what is made of it is compiled
once and a mutant is switched on in the finished program. Works on tokens like mutants.py: takes the whole expression or
statement around a change, both ways. Where the compiler refuses that (constant expressions, types that differ), the
mutant has to be compiled by itself."""

import re
import shutil
import struct

import mutants

# The number stands behind the mark in every program that the text is part of; 0: no mutant.
MARK = b"which mutant it is:\0"
DECLARATION = ('namespace { __attribute__((used)) const volatile struct { char mark[20]; int number; } '
               'switched_mutant = {"which mutant it is:", 0}; } ')
ASSIGNMENTS = {"=", "+=", "-="}
OPENING = ("(", "[", "{")
CLOSING = (")", "]", "}")
NO_TYPES = ("new", "sizeof", "return", "throw", "co_return", "delete")
GOVERNING = ("if", "for", "while", "switch", "do", "else", "case", "default", "using", "static_assert", "constexpr", "static")
LABELS = ("case", "default")
# How a region is written.
EXPRESSION, STATEMENT, REMOVED = range(3)


class SwitchedText:
    """`text` holds every mutant of `chosen` that is left, under the number that `numbers` gives it."""

    def __init__(self, path, source, chosen):
        self.finder = mutants.Finder(path, source)
        self.source = source
        self.regions = {}  # the mutants of each: start, end, and in which way it is written
        self.numbers = {}
        for number, mutant in enumerate(chosen, 1):
            self.put(mutant, number, self.around(mutant) or self.statement_around(mutant))
        self.write()

    def put(self, mutant, number, region):
        if region is not None:
            self.numbers[mutant] = number
            self.regions.setdefault(region, []).append(mutant)

    def around(self, mutant):
        """The call or early exit that the mutant takes away, or the expression that it changes; None where there is none."""
        tokens, partners = self.finder.tokens, self.finder.partners
        inside = self.tokens_in(mutant)
        if not inside:
            return None
        if mutant.kind in ("call", "early exit"):
            # To a label one gets past the question.
            return None if tokens[inside[0]].text in LABELS else (mutant.start, mutant.end, REMOVED)
        first, last = inside[0], inside[-1]
        if mutant.kind == "arguments":
            # The call as a whole.
            first = self.opening_around(first)
            last = partners[first]
        while first > 0 and not self.begins_expression(first - 1):
            first = partners[first - 1] if tokens[first - 1].text in CLOSING and first - 1 in partners else first - 1
        while last + 1 < len(tokens) and not self.ends_expression(last + 1):
            last = partners[last + 1] if tokens[last + 1].text in OPENING and last + 1 in partners else last + 1
        if self.declares(first, last):
            return None
        return tokens[first].start, tokens[last].end, EXPRESSION

    def statement_around(self, mutant):
        """The whole statement that the mutant changes; None where it stands in a declaration or in what governs others."""
        tokens, partners = self.finder.tokens, self.finder.partners
        inside = self.tokens_in(mutant)
        if not inside or mutant.kind in ("call", "early exit"):
            return None
        first = inside[0]
        while first > 0:
            before = tokens[first - 1].text
            if before in (";", "{", "}", "else", "do") or before == ")" and self.begins_expression(first - 1):
                break
            first = partners[first - 1] if before in CLOSING and first - 1 in partners else first - 1
        last = self.finder.statement_end(first)
        if last is None or last < inside[-1] or tokens[first].text in GOVERNING or self.declares(first, last):
            return None
        return tokens[first].start, tokens[last].end, STATEMENT

    def tokens_in(self, mutant):
        """Those that it changes; none where it cannot be switched."""
        inside = [i for i, token in enumerate(self.finder.tokens) if mutant.start <= token.start < mutant.end]
        return inside if inside and mutant.kind != "rows" and self.in_function(inside[0]) else []

    def declares(self, first, last):
        """A type and a name at the outermost level."""
        tokens, i = self.finder.tokens, first
        while i < last:
            if tokens[i].type == "word" and tokens[i + 1].type == "word" and tokens[i].text not in NO_TYPES:
                return True
            i = self.finder.partners[i] + 1 if tokens[i].text in OPENING and i in self.finder.partners else i + 1
        return False

    def begins_expression(self, i):
        token = self.finder.tokens[i]
        if token.type == "word":
            return token.text in ("return", "else", "do", "throw")
        if token.text in CLOSING and i in self.finder.partners:
            # A condition's bracket, or a block: what follows is another statement.
            before = self.finder.tokens[self.finder.partners[i] - 1].text
            return token.text == "}" or before in ("if", "for", "while", "constexpr")
        return token.text in OPENING or token.text in (",", ";") or token.text in ASSIGNMENTS

    def ends_expression(self, i):
        token = self.finder.tokens[i]
        return token.type == "operator" and (token.text in CLOSING or token.text in (",", ";"))

    def opening_around(self, i):
        """The bracket that the token stands in."""
        i -= 1
        while i >= 0:
            if self.finder.tokens[i].text in CLOSING and i in self.finder.partners:
                i = self.finder.partners[i]
            elif self.finder.tokens[i].text in OPENING:
                return i
            i -= 1
        return None

    def in_function(self, i):
        """Whether a block that is a function's lies around the token: one behind a parameter list."""
        while (i := self.opening_around(i)) is not None:
            if self.finder.tokens[i].text != "{":
                continue
            k = i - 1
            while k >= 0 and self.finder.tokens[k].text in ("const", "noexcept", "override", "final", "mutable"):
                k -= 1
            if k >= 0 and self.finder.tokens[k].text == ")":
                return True
        return False

    def write(self):
        """Makes `text`, and notes where in it each region lies."""
        self.places = []
        ordered = sorted(self.regions, key=lambda region: (region[0], -region[1], region[2]))
        # A region that overlaps another without lying in it cannot be written.
        kept, opened = [], []
        for region in ordered:
            while opened and opened[-1][1] <= region[0]:
                opened.pop()
            if opened and region[1] > opened[-1][1]:
                self.forget(region)
                continue
            opened.append(region)
            kept.append(region)
        out = [DECLARATION]
        self.length = len(DECLARATION)
        self.write_range(0, len(self.source), kept, out)
        self.text = "".join(out)

    def add(self, out, piece):
        out.append(piece)
        self.length += len(piece)

    def write_range(self, start, end, regions, out):
        """The source from `start` to `end`; `regions`, which lie in it, are in order, those around others before them."""
        position = start
        while regions:
            region, regions = regions[0], regions[1:]
            inner = []
            while regions and regions[0][0] < region[1]:
                inner.append(regions[0])
                regions = regions[1:]
            self.add(out, self.source[position : region[0]])
            first = self.length
            self.write_region(region, inner, out)
            self.places.append((first, self.length, region))
            position = region[1]
        self.add(out, self.source[position:end])

    def write_region(self, region, inner, out):
        start, end, way = region
        before, between, behind, closing = {EXPRESSION: ("(", " ? (", ") : ", ")"), STATEMENT: ("{ if", "{ ", " } else if", " }"),
                                            REMOVED: ("{ if", "{", " } else if", " }")}[way]
        self.add(out, before)
        for mutant in self.regions[region]:
            changed = self.source[start : mutant.start] + mutant.text + self.source[mutant.end : end]
            self.add(out, f"(switched_mutant.number == {self.numbers[mutant]}){between}{changed}{behind}")
        # What follows the last question takes no other.
        self.add(out, "(" if way == EXPRESSION else "(true) { ")
        self.write_range(start, end, inner, out)
        self.add(out, ")" if way == EXPRESSION else " }")
        self.add(out, closing)

    def forget(self, region):
        for mutant in self.regions.pop(region):
            del self.numbers[mutant]

    def drop(self, faults):
        """Leaves out the mutants at these places (line, column) of the text, and writes it anew. False: there are none."""
        lines = [0] + [match.end() for match in re.finditer("\n", self.text)]
        around = set()
        for line, column in faults:
            if line > len(lines):
                continue
            offset = lines[line - 1] + column - 1
            within = [(last - first, region) for first, last, region in self.places if first <= offset < last]
            if within:
                around.add(min(within)[1])
            else:
                end = lines[line] if line < len(lines) else len(self.text)
                around |= {region for first, last, region in self.places if first < end and last > lines[line - 1]}
        for region in around & self.regions.keys():
            chosen = [(mutant, self.numbers[mutant]) for mutant in self.regions[region]]
            self.forget(region)
            if region[2] == EXPRESSION:
                for mutant, number in chosen:
                    self.put(mutant, number, self.statement_around(mutant))
        self.write()
        return bool(around)


def switch(program, number):
    """Turns the mutant of that number on in a program's file, which is replaced: the old one may still be running. False:
    nothing of that kind is in the program."""
    content = bytearray(program.read_bytes())
    at = content.find(MARK)
    if at < 0:
        return False
    while at >= 0:
        struct.pack_into("=i", content, at + len(MARK), number)
        at = content.find(MARK, at + 1)
    replacement = program.with_name(program.name + ".new")
    replacement.write_bytes(content)
    shutil.copymode(program, replacement)
    replacement.replace(program)
    return True
