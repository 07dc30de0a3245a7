"""C++ source text as tokens, with the partner of every bracket."""
import re
from dataclasses import dataclass

_PATTERN = re.compile(
    r"""
    (?P<space>\s+)
  | (?P<comment>//(?:\\\n|[^\n])*|/\*.*?\*/)
  | (?P<raw>(?:u8|[uUL])?R"(?P<delimiter>[^()\\\s]{0,16})\(.*?\)(?P=delimiter)")
  | (?P<string>(?:u8|[uUL])?"(?:\\.|[^"\\\n])*"(?:_\w+)?)
  | (?P<character>(?:u8|[uUL])?'(?:\\.|[^'\\\n])+')
  | (?P<number>\.?\d(?:'?[\w.]|(?<=[eEpP])[+-])*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><=>|\.\.\.|->\*|<<=|>>=|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||\+=|-=|\*=|/=|%=|&=|\|=|\^=|\#\#|[^\w\s])
    """,
    re.VERBOSE | re.DOTALL,
)
_PREPROCESSOR = re.compile(r"[ \t]*#(?:\\\n|/\*.*?\*/|//[^\n]*|[^\n])*", re.DOTALL)
_CLOSES = {")": "(", "]": "[", "}": "{"}


@dataclass(frozen=True)
class Token:
    kind: str  # "string" (raw ones too), "character", "number", "word", "operator", "preprocessor"
    text: str
    start: int
    end: int
    line: int


class CppText:
    """The tokens of a text without white space and comments. Tokens of brackets know their partners."""

    def __init__(self, text):
        self.text = text
        self.tokens = []
        self._split()
        self.partner = {}
        self._match_brackets()

    def _split(self):
        position, line, at_line_start = 0, 1, True
        while position < len(self.text):
            match = _PREPROCESSOR.match(self.text, position) if at_line_start else None
            kind = "preprocessor"
            if not match:
                match = _PATTERN.match(self.text, position)
                if not match:
                    raise ValueError(f"line {line}: no C++ token begins here: {self.text[position:position + 20]!r}")
                kind = match.lastgroup if match.lastgroup != "delimiter" else "raw"
            if match.group(0) == "":
                raise ValueError(f"line {line}: no C++ token begins here")
            found = match.group(0)
            if kind not in ("space", "comment"):
                kind = "string" if kind == "raw" else kind
                self.tokens.append(Token(kind, found, match.start(), match.end(), line))
            if kind == "space":
                at_line_start = at_line_start or "\n" in found
            elif kind != "comment":
                at_line_start = False
            line += found.count("\n")
            position = match.end()

    def _match_brackets(self):
        waiting = []
        for i, token in enumerate(self.tokens):
            if token.kind != "operator":
                continue
            if token.text in _CLOSES.values():
                waiting.append(i)
            elif token.text in _CLOSES:
                if not waiting or self.tokens[waiting[-1]].text != _CLOSES[token.text]:
                    raise ValueError(f"line {token.line}: '{token.text}' closes nothing")
                opening = waiting.pop()
                self.partner[opening], self.partner[i] = i, opening
        if waiting:
            raise ValueError(f"line {self.tokens[waiting[-1]].line}: a bracket is never closed")

    def is_at(self, i, *texts):
        """Whether token i is a word or operator with one of these texts."""
        return 0 <= i < len(self.tokens) and self.tokens[i].text in texts and self.tokens[i].kind in ("word", "operator")

    def is_kind(self, i, *kinds):
        return 0 <= i < len(self.tokens) and self.tokens[i].kind in kinds

    def has_spaces_around(self, i):
        token = self.tokens[i]
        return self.text[token.start - 1].isspace() and self.text[token.end:token.end + 1].isspace()

    def skip(self, i):
        """The token behind token i, or behind its partner if it opens a bracket."""
        return self.partner[i] + 1 if self.is_at(i, "(", "[", "{") else i + 1

    def one_line(self, first, end, replaced=None):
        """Tokens first..end-1 on one line, without comments. `replaced` maps tokens to other texts."""
        parts, last_end = [], None
        for i in range(first, end):
            token = self.tokens[i]
            if last_end is not None and token.start > last_end:
                parts.append(" ")
            parts.append((replaced or {}).get(i, token.text))
            last_end = token.end
        return "".join(parts)
