"""The mutants of a C++ source: one operator, constant, text, order or call changed at a time.

Reads the source as tokens and knows just as much of the language as that takes. What it says of
brackets, statements and binary operators relies on the repository's format: binary operators stand
between blanks, template brackets stand close, every branch has its braces.

Not changed: comments, preprocessor lines, static assertions, attributes and template heads.
Neighbouring statements that only assign, or only write fields of one message, commute and are not
swapped.
"""

import collections
import hashlib
import re

TOKEN = re.compile(r"""
    (?P<skip>\s+|//[^\n]*|/\*.*?\*/|(?<![^\n])[ ]*\#(?:\\\n|[^\n])*)
  | (?P<string>"(?:\\.|[^"\\])*")
  | (?P<character>'(?:\\.|[^'\\])+')
  | (?P<number>(?:0x[0-9A-Fa-f]+|\d+)[uUlL]*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator>>>=|<<=|->\*|\.\.\.|::|->|\+\+|--|&&|\|\||<=|==|!=|\+=|-=|\|=|&=|<<|(?<=\s)>>
                 |(?<=\s)>=|\[\[|\]\]|.)
    """, re.VERBOSE | re.DOTALL)

Token = collections.namedtuple("Token", "kind text start end")

# What one edit changes: characters `start` to `end` become `text`.
Edit = collections.namedtuple("Edit", "kind start end text")

# A mutant. `before` and `after` are the lines that it changes, in one line of plain blanks.
Mutant = collections.namedtuple("Mutant", "id file line kind before after edit")

RELATIONS = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
    "==": ["!="], "!=": ["=="], "&&": ["||"], "||": ["&&"],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"],
    "&": ["|"], "|": ["&"], "^": ["|"], ">>": ["<<"],
    "+=": ["-=", "="], "-=": ["+="], "|=": ["&=", "="], "&=": ["|="], ">>=": ["<<="],
    "<<=": [">>="],
}
SAME_WHEN_CLOSE = ("<", ">", "*", "&", "-", "+")  # may be no binary operator: then no blanks
OPENING = {"(": ")", "{": "}", "[": "]", "[[": "]]"}
NO_CALL = ("if", "while", "for", "switch", "catch", "return", "sizeof", "throw", "MC_THROW")
OPERAND_ENDS = ("&&", "||", "?", ":", ",", ";", "=", "return", "<<")


def tokens_of(text):
    found = []
    for match in TOKEN.finditer(text):
        if match.lastgroup != "skip":
            found.append(Token(match.lastgroup, match.group(), match.start(), match.end()))
    return found


def next_names(texts):
    """For each enumerator in these sources, the next one of its enumeration."""
    following = {}
    for text in texts:
        plain = re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.DOTALL)
        for body in re.findall(r"\benum\b[^;{]*\{([^}]*)\}", plain):
            names = [part.split("=")[0].strip() for part in body.split(",") if part.strip()]
            if len(names) > 1:
                following.update(zip(names, names[1:] + names[:1]))
    return following


def altered_text(literal):
    """The literal with one letter or digit in its middle changed; else with a question mark."""
    places = [m.start(1) for m in re.finditer(r"\\.|%.|([A-Za-z0-9])", literal[:-1]) if m.group(1)]
    if not places:
        return '"?"'
    place = places[len(places) // 2]
    other = "q" if literal[place] != "q" else "w"
    return literal[:place] + other + literal[place + 1:]


def neighbours_of(number):
    """The number one larger and one smaller, spelled as it is."""
    digits, suffix = re.fullmatch(r"(0x[0-9A-Fa-f]+|\d+?)([uUlL]*)", number).groups()
    value = int(digits, 0)
    spell = "0x%X" if digits.startswith("0x") else "%d"
    return [spell % other + suffix for other in (value + 1, value - 1) if other >= 0]


class Source:
    """The tokens of a source, and what belongs together in it."""

    def __init__(self, text):
        self.text = text
        self.tokens = tokens_of(text)
        self.partner = {}
        self.match_brackets()
        self.excluded = self.find_excluded()
        self.kinds = {i: self.kind_of_brace(i) for i in self.partner if self.at(i) == "{"}
        self.bodies = self.find_bodies()
        self.conditions, self.labels, self.runs = [], [], []
        for first, last in self.bodies:
            self.read_block(first, last)

    def at(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def close_to_previous(self, index):
        return index > 0 and self.tokens[index - 1].end == self.tokens[index].start

    def between(self, first, last):
        """The characters from token `first` to token `last`, both included."""
        return self.text[self.tokens[first].start:self.tokens[last].end]

    def edit(self, kind, first, last, text):
        return Edit(kind, self.tokens[first].start, self.tokens[last].end, text)

    # Structure

    def opens_template(self, index):
        if self.at(index) != "<":
            return False
        return self.at(index - 1) == "template" or (
            self.tokens[index - 1].kind == "word" and self.close_to_previous(index)
            and self.at(index - 1) != "operator")

    def match_brackets(self):
        waiting = []
        for index, token in enumerate(self.tokens):
            if token.kind != "operator":
                continue
            if token.text in OPENING or self.opens_template(index):
                waiting.append((index, OPENING.get(token.text, ">")))
            elif waiting and token.text == waiting[-1][1]:
                opening = waiting.pop()[0]
                self.partner[opening] = index
                self.partner[index] = opening

    def find_excluded(self):
        excluded = set()
        for index in range(len(self.tokens)):
            follows = index + 1
            word = self.at(index)
            if word in ("static_assert", "template", "MC_THROW") and follows in self.partner:
                excluded.update(range(index, self.partner[follows] + 1))
            if word == "[[" and index in self.partner:
                excluded.update(range(index, self.partner[index] + 1))
            if word == "operator":
                excluded.add(follows)
        return excluded

    def kind_of_brace(self, index):
        """What an opening brace opens: scope, enum, list or body."""
        previous = self.at(index - 1)
        start = index - 1
        while start >= 0 and self.at(start) not in (";", "{", "}"):
            start = self.partner[start] - 1 if self.at(start) in (")", "]") else start - 1
        head = [self.at(i) for i in range(start + 1, index)]
        if "enum" in head:
            return "enum"
        if "namespace" in head or (("struct" in head or "class" in head) and previous != ")"):
            return "scope"
        if previous in (")", "const", "override", "else", "try", "do", ":"):
            return "body"
        return "list" if head or previous in ("{", ",", "=", "(") else "body"

    def find_bodies(self):
        """The braces of the functions' bodies, as pairs."""
        bodies = []
        for index in sorted(self.kinds):
            inside = bodies and index < bodies[-1][1]
            if not inside and self.kinds[index] == "body":
                bodies.append((index, self.partner[index]))
        return bodies

    def read_block(self, opening, closing):
        """Collects the conditions, labels and runs of simple statements of a block."""
        run, index = [], opening + 1
        while index < closing:
            word = self.at(index)
            if word in ("if", "while", "for", "switch", "catch", "else", "try", "do", "{"):
                self.runs.append(run)
                run = []
                index = self.read_branch(index)
            elif word in ("case", "default"):
                self.runs.append(run)
                run = []
                end = index
                while self.at(end) != ":":
                    end += 1
                self.labels.append((index, end))
                index = end + 1
            else:
                end = self.end_of_statement(index)
                run.append((index, end))
                index = end + 1
        self.runs.append(run)

    def read_branch(self, index):
        word = self.at(index)
        if word == "{":
            self.read_block(index, self.partner[index])
            return self.partner[index] + 1
        if index + 1 in self.partner and self.at(index + 1) == "(":
            closing = self.partner[index + 1]
            if word in ("if", "while"):
                self.conditions.append((index + 2, closing - 1))
            return closing + 1
        return index + 1

    def end_of_statement(self, index):
        while self.at(index) != ";":
            index = self.partner[index] if self.at(index) in OPENING else index
            index += 1
        return index

    def in_body(self, index):
        return any(first < index < last for first, last in self.bodies)

    def split(self, opening, separator=","):
        """What stands between the separators within a pair of brackets: pairs of tokens."""
        parts, start, index = [], opening + 1, opening + 1
        closing = self.partner[opening]
        while index < closing:
            if self.at(index) == separator:
                parts.append((start, index - 1))
                start = index + 1
            elif index in self.partner and self.partner[index] > index:
                index = self.partner[index]
            index += 1
        if start < closing:
            parts.append((start, closing - 1))
        return [(first, last) for first, last in parts if first <= last]

    # Mutations

    def edits(self, following):
        makers = (self.operators, self.constants, self.conditions_negated, self.operands_dropped,
                  self.choices_swapped, self.statements_dropped, self.statements_swapped,
                  self.labels_dropped, self.arguments_swapped, self.lists_swapped, self.pieces)
        untouched = [(self.tokens[i].start, self.tokens[i].end) for i in self.excluded]
        for maker in (lambda: self.names(following),) + makers:
            for edit in maker():
                if not any(start < edit.end and edit.start < end for start, end in untouched):
                    yield edit

    def operators(self):
        for index, token in enumerate(self.tokens):
            if index in self.excluded or index in self.partner or token.kind != "operator":
                continue
            if token.text in SAME_WHEN_CLOSE and (
                    self.close_to_previous(index) or self.close_to_previous(index + 1)):
                continue
            if token.text == "<<" and self.tokens[index + 1].kind == "number":
                yield self.edit("operator", index, index, ">>")
            for other in RELATIONS.get(token.text, []):
                yield self.edit("operator", index, index, other)
            if token.text in ("++", "--"):
                yield self.edit("operator", index, index, "--" if token.text == "++" else "++")
            if token.text == "!":
                yield self.edit("operator", index, index, "")

    def constants(self):
        for index, token in enumerate(self.tokens):
            if index in self.excluded:
                continue
            if token.kind == "number":
                for other in neighbours_of(token.text):
                    yield self.edit("constant", index, index, other)
            elif token.text in ("true", "false"):
                other = "false" if token.text == "true" else "true"
                yield self.edit("constant", index, index, other)
            elif token.kind == "character":
                yield self.edit("constant", index, index, r"'\1'")
            elif token.kind == "string" and token.text != '""':
                yield self.edit("text", index, index, '""')
                yield self.edit("text", index, index, altered_text(token.text))
            elif token.kind == "string":
                yield self.edit("text", index, index, '"q"')

    def names(self, following):
        """Each use of an enumerator becomes the next one of its enumeration."""
        enumerations = [(i, self.partner[i]) for i, kind in self.kinds.items() if kind == "enum"]
        for index, token in enumerate(self.tokens):
            defined = any(first < index < last for first, last in enumerations)
            member = self.at(index - 1) in (".", "->")
            left_alone = defined or member or index in self.excluded
            if token.text in following and not left_alone:
                yield self.edit("constant", index, index, following[token.text])

    def conditions_negated(self):
        """But where another operator's mutant is the same: `!=` of a `==`, a dropped `!`."""
        for first, last in self.conditions:
            inside = [self.at(i) for i in range(first, last + 1)]
            joined = "&&" in inside or "||" in inside
            if joined or not ("==" in inside or "!=" in inside or inside[0] == "!"):
                yield self.edit("operator", first, last, "!(%s)" % self.between(first, last))

    def operand(self, index, step):
        """The last token of the operand that starts beside a logical operator."""
        while True:
            text = self.at(index + step)
            if text in OPERAND_ENDS:
                return index
            beyond = index + step
            if beyond in self.partner:
                if (self.partner[beyond] - beyond) * step < 0:
                    return index
                beyond = self.partner[beyond]
            index = beyond

    def operands_dropped(self):
        for index, token in enumerate(self.tokens):
            if token.text in ("&&", "||") and index not in self.excluded:
                left, right = self.operand(index, -1), self.operand(index, 1)
                yield self.edit("operator", index, right, "")
                if self.at(left - 1) not in ("&&", "||"):
                    yield self.edit("operator", left, index, "")

    def choices_swapped(self):
        """Of `c ? a : b`, a and b."""
        for index, token in enumerate(self.tokens):
            if token.text == "?":
                colon = self.operand(index, 1) + 1
                end = self.operand(colon, 1)
                first, second = self.between(index + 1, colon - 1), self.between(colon + 1, end)
                yield self.edit("order", index + 1, end, "%s : %s" % (second, first))

    def is_declaration(self, first):
        """Whether a statement starts with a type and a name."""
        index = first
        if self.at(index) in ("typedef", "using", "static"):
            return True
        if self.at(index) in ("throw", "return", "delete", "break", "continue"):
            return False
        while self.tokens[index].kind == "word" and self.at(index + 1) == "::":
            index += 2
        if index + 1 in self.partner and self.at(index + 1) == "<":
            index = self.partner[index + 1]
        if self.at(index) in ("unsigned", "const"):
            return True
        while self.at(index + 1) in ("*", "&"):
            index += 1
        return self.tokens[index + 1].kind == "word"

    def ends_function(self, last):
        """Whether nothing of the function follows this token."""
        return any(last + 1 == closing for _, closing in self.bodies)

    def statements_dropped(self):
        for run in self.runs:
            for first, last in run:
                result = self.at(first) == "return" and last > first + 1
                if not self.is_declaration(first) and not (result and self.ends_function(last)):
                    yield self.edit("call", first, last, ";")

    def commute(self, one, other):
        texts = [self.between(*one), self.between(*other)]
        if all(re.match(r"(MC_Dsp::)?put<", text) for text in texts):
            return True
        return all(re.match(r"[\w>.-]+ = [^()]*;$", text) for text in texts)

    def statements_swapped(self):
        for run in self.runs:
            for one, other in zip(run, run[1:]):
                leaves = self.at(other[0]) in ("return", "throw", "break", "continue")
                declares = self.is_declaration(one[0]) or self.is_declaration(other[0])
                if not (leaves or declares or self.commute(one, other)):
                    swapped = self.between(*other) + " " + self.between(*one)
                    yield self.edit("order", one[0], other[1], swapped)

    def labels_dropped(self):
        for first, last in self.labels:
            yield self.edit("call", first, last, "")

    def swapped_neighbours(self, parts):
        for one, other in zip(parts, parts[1:]):
            texts = self.between(*one), self.between(*other)
            if texts[0] != texts[1]:
                between = self.text[self.tokens[one[1]].end:self.tokens[other[0]].start]
                yield self.edit("order", one[0], other[1], texts[1] + between + texts[0])

    def arguments_swapped(self):
        for index in self.partner:
            callee = self.tokens[index - 1]
            called = (callee.kind == "word" and callee.text not in NO_CALL) or (
                callee.text == ">" and index - 1 in self.partner)
            if self.at(index) == "(" and called and self.in_body(index):
                yield from self.swapped_neighbours(self.split(index))

    def lists_swapped(self):
        """Neighbours in a braced list, and neighbouring enumerators without a value."""
        for index, kind in self.kinds.items():
            parts = self.split(index) if kind in ("list", "enum") else []
            if kind == "enum" and any("=" in self.between(*part) for part in parts):
                continue
            if not any(self.at(first) == "{" for first, _ in parts):
                yield from self.swapped_neighbours(parts)

    def pieces(self):
        """Of a text that is built with `<<`: a piece dropped, two neighbours swapped."""
        for run in self.runs:
            for first, last in run:
                arrows = [i for i in range(first, last) if self.at(i) == "<<" and not any(
                    first < j < i < self.partner[j] for j in range(first, i) if j in self.partner)]
                if not arrows or self.tokens[arrows[0] + 1].kind == "number" or "=" in [
                        self.at(i) for i in range(first, arrows[0])]:
                    continue
                ends = arrows[1:] + [last]
                parts = [(arrow + 1, end - 1) for arrow, end in zip(arrows, ends)]
                for arrow, part in zip(arrows, parts):
                    yield self.edit("call", arrow, part[1], "")
                yield from self.swapped_neighbours(parts)


def one_line(text):
    """Without line comments and line breaks."""
    return " ".join(re.sub(r"(^|\s)//[/ ][^\n]*", "", text, flags=re.MULTILINE).split())


def mutants_of(name, text, following):
    """All mutants of a source, in the order of their places."""
    occurrences = collections.Counter()
    found = []
    edits = set(Source(text).edits(following))
    for edit in sorted(edits, key=lambda e: (e.start, e.end, e.kind, e.text)):
        begin = text.rfind("\n", 0, edit.start) + 1
        end = text.find("\n", edit.end)
        end = len(text) if end < 0 else end
        before = one_line(text[begin:end])
        after = one_line(text[begin:edit.start] + edit.text + text[edit.end:end])
        if before == after:
            continue
        key = "|".join((name, before, after))
        number = occurrences[key]
        occurrences[key] += 1
        identity = hashlib.sha1(("%s|%d" % (key, number)).encode()).hexdigest()[:8]
        line = text.count("\n", 0, edit.start) + 1
        found.append(Mutant(identity, name, line, edit.kind, before, after, edit))
    return found


def applied(text, mutant):
    edit = mutant.edit
    return text[:edit.start] + edit.text + text[edit.end:]
