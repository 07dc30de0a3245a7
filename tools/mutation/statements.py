"""Walks through the statements of a function and reports the faults that they can have."""
import re

from .functions import lambda_body, template_end
from .what_is_skipped import is_not_looked_into, may_be_left_out

_NEIGHBOUR = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&",
              "+": "-", "-": "+", "*": "/", "/": "*"}
_ASSIGNMENTS = ("=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>=")
_NO_EXPRESSION = {"auto", "const", "constexpr", "static", "thread_local", "using", "typedef", "typename", "struct", "class",
                  "enum", "union", "delete", "new", "throw", "goto", "break", "continue", "friend", "template", "return",
                  "static_assert", "unsigned", "signed", "int", "bool", "char", "double", "float", "long", "short", "void",
                  "co_await", "co_return", "co_yield", "asm", "volatile", "register", "extern", "namespace"}
_DATA = ("static", "constexpr", "thread_local", "using", "typedef", "static_assert", "enum", "struct", "class", "union", "goto",
         "template")
_INTEGER = re.compile(r"(\d+)([uUlLzZ]*)")


class Walker:
    """`found.add(kind, first, end, code, mutated)` is called for every fault of tokens first..end-1."""

    def __init__(self, text, found):
        self.text = text
        self.found = found
        self.swapped = set()  # operators whose swap stands already, in a wider expression

    def walk_block(self, i, end):
        while i < end:
            i = self._statement(i, end)

    def walk_default(self, first, end):
        if end == first + 1 and self.text.is_at(first, "true", "false"):
            self._boolean(first)

    # Statements

    def _statement(self, i, end):
        """Handles the statement at i; the token behind it."""
        text = self.text
        if text.is_kind(i, "preprocessor") or text.is_at(i, ";", ":"):
            return i + 1
        if text.is_at(i, "[") and text.is_at(i + 1, "["):
            return text.skip(i)
        if text.is_at(i, "{"):
            self.walk_block(i + 1, text.partner[i])
            return text.skip(i)
        if text.is_at(i, "if", "while", "switch", "for", "catch") or (text.is_at(i, "else", "do", "try")):
            return self._control(i)
        if text.is_at(i, "case", "default"):
            while i < end and not text.is_at(i, ":"):
                i = text.skip(i)
            return i + 1
        stop = i
        while stop < end and not text.is_at(stop, ";"):
            stop = text.skip(stop)
        if text.is_at(i, "return"):
            self._return(i + 1, stop)
        elif text.is_at(i, *_DATA):
            pass
        else:
            self._simple(i, stop)
        return stop + 1

    def _control(self, i):
        text = self.text
        if text.is_at(i, "else", "do", "try"):
            return i + 1
        word, is_constant = text.tokens[i].text, text.is_at(i + 1, "constexpr")
        opening = i + 2 if is_constant else i + 1
        if not text.is_at(opening, "("):
            return i + 1
        first, end = opening + 1, text.partner[opening]
        if word in ("if", "while") and not is_constant:
            self._condition(first, end)
        elif word == "for":
            self._for(first, end)
        elif word == "switch":
            self._expression(first, end)
        return end + 1

    def _condition(self, first, end):
        text = self.text
        if not any(text.is_at(i, ";", *_ASSIGNMENTS) for i in self._top_level(first, end)):
            self._negate(first, end)
            self._operators(first, end)
        self._expression(first, end)

    def _for(self, first, end):
        text = self.text
        semicolons = [i for i in self._top_level(first, end) if text.is_at(i, ";")]
        if len(semicolons) == 2:
            condition = (semicolons[0] + 1, semicolons[1])
            if not any(text.is_at(i, *_ASSIGNMENTS) for i in self._top_level(*condition)):
                self._operators(*condition)
        self._expression(first, end)

    def _return(self, first, end):
        text = self.text
        if first >= end:
            return
        if not text.is_at(first, "{"):
            self._operators(first, end)
            number = end - 1
            if number == first or (number == first + 1 and text.is_at(first, "-")):
                self._number(number, 0 if text.tokens[number].text == "1" and number == first else None)
        self._expression(first, end)

    def _simple(self, first, end):
        """A call, an assignment, or a declaration."""
        text = self.text
        names, call, is_expression = self._look_at_expression(first, end)
        if is_expression:
            last = names[-1] if names else ""
            arguments = text.one_line(call, end) if call is not None else ""
            if not names or may_be_left_out(names, arguments):
                self.found.add("statement", first, end + 1, lambda whole: f"{{ if (!ORV_FAULT(\0)) {whole} }}", "")
            if is_not_looked_into(last):
                return
        self._expression(first, end)

    def _look_at_expression(self, first, end):
        """The names a.b.c of the last call (or of what is assigned to), where its arguments begin, and whether the statement
        only calls or assigns."""
        text, i, names, call, last_is_call = self.text, first, [], None, False
        while text.is_at(i, "*", "++", "--"):
            last_is_call = last_is_call or not text.is_at(i, "*")
            i += 1
        if not (text.is_kind(i, "word") or text.is_at(i, "::")) or text.tokens[i].text in _NO_EXPRESSION:
            return names, call, False
        expects_name = True
        while i < end:
            if text.is_at(i, "::", ".", "->"):
                if not text.is_at(i, "::") and last_is_call:
                    names = []
                expects_name = True
                i += 1
            elif text.is_kind(i, "word"):
                if not expects_name:
                    return names, call, False  # "Type name"
                names.append(text.tokens[i].text)
                expects_name = False
                i = template_end(text, i + 1) or i + 1
            elif text.is_at(i, "(") and not expects_name:
                call, last_is_call = i, True
                i = text.skip(i)
            elif text.is_at(i, "["):
                last_is_call = False
                i = text.skip(i)
            elif text.is_at(i, "++", "--"):
                last_is_call = True
                i += 1
            else:
                break
        if i == end:
            return names, call, last_is_call
        return names, None, text.is_at(i, *_ASSIGNMENTS) or (text.is_at(i, "<<") and text.has_spaces_around(i))

    # Expressions

    def _expression(self, i, end):
        text = self.text
        while i < end:
            body = lambda_body(text, i)
            angle = template_end(text, i)
            if body is not None and body < end:
                self.walk_block(body + 1, text.partner[body])
                i = text.skip(body)
            elif angle:
                i = angle
            elif text.is_kind(i, "word") and text.is_at(i + 1, "(") and is_not_looked_into(text.tokens[i].text):
                i = text.skip(i + 1)
            else:
                if text.is_at(i, "true", "false"):
                    self._boolean(i)
                elif text.is_kind(i, "number") and self._is_added(i):
                    self._number(i)
                elif text.is_at(i, "?"):
                    self._ternary(i)
                i += 1

    def _is_added(self, i):
        """Whether a literal is added to something or subtracted."""
        text = self.text
        return (text.is_at(i - 1, "+=", "-=")
                or (text.is_at(i - 1, "+", "-") and text.has_spaces_around(i - 1))
                or (text.is_at(i + 1, "+", "-") and text.has_spaces_around(i + 1)))

    def _ternary(self, question):
        text, i = self.text, question - 1
        boundaries = ("(", "[", "{", ",", ";", "?", ":", "return", *_ASSIGNMENTS)
        while i >= 0 and not text.is_at(i, *boundaries):
            i = text.partner[i] - 1 if text.is_at(i, ")", "]", "}") else i - 1
        if i + 1 < question:
            self._negate(i + 1, question)
            self._operators(i + 1, question)

    def _negate(self, first, end):
        text = self.text
        if end == first + 1 and text.is_at(first, "true", "false"):
            return  # flipped already
        original = text.one_line(first, end)
        self.found.add("condition", first, end, lambda whole: f"(ORV_FAULT(\0) != static_cast<bool>({whole}))",
                       f"!({original})")

    def _operators(self, first, end):
        text = self.text
        for i in self._own_tokens(first, end):
            token = text.tokens[i]
            if token.kind != "operator" or token.text not in _NEIGHBOUR or i in self.swapped or i == first:
                continue
            if not text.has_spaces_around(i) or text.is_at(i - 1, "operator", ",", "(", "return"):
                continue
            self.swapped.add(i)
            if token.text == "+" and self._is_about_text(first, end):
                continue
            mutated = text.one_line(first, end, {i: _NEIGHBOUR[token.text]})
            self.found.add("operator", first, end,
                           lambda whole, mutated=mutated: f"(ORV_FAULT(\0) ? ({mutated}) : ({whole}))", mutated)

    def _own_tokens(self, i, end):
        """The tokens of an expression without those of lambdas, template arguments and log calls in it."""
        text = self.text
        while i < end:
            body = lambda_body(text, i)
            if body is not None and body < end:
                i = text.skip(body)
            elif template_end(text, i):
                i = template_end(text, i)
            elif text.is_kind(i, "word") and text.is_at(i + 1, "(") and is_not_looked_into(text.tokens[i].text):
                i = text.skip(i + 1)
            else:
                yield i
                i += 1

    def _is_about_text(self, first, end):
        text = self.text
        return any(text.is_kind(i, "string", "character") or text.is_at(i, "string", "to_string", "path")
                   for i in range(first, end))

    def _boolean(self, i):
        if self.text.is_at(i - 2, "noexcept", "explicit"):
            return
        flipped, code = ("false", "(!ORV_FAULT(\0))") if self.text.is_at(i, "true") else ("true", "ORV_FAULT(\0)")
        self.found.add("boolean", i, i + 1, lambda whole: code, flipped)

    def _number(self, i, changed=None):
        token = self.text.tokens[i]
        match = _INTEGER.fullmatch(token.text) if token.kind == "number" else None
        if not match or (len(match.group(1)) > 1 and match.group(1).startswith("0")):
            return
        other = f"{int(match.group(1)) + 1 if changed is None else changed}{match.group(2)}"
        self.found.add("number", i, i + 1, lambda whole: f"(ORV_FAULT(\0) ? {other} : {whole})", other)

    def _top_level(self, i, end):
        while i < end:
            yield i
            i = template_end(self.text, i) or self.text.skip(i)
