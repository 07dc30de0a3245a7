"""Finds the bodies of functions in a C++ file: the places where faults can be."""
from dataclasses import dataclass

_BEFORE_KIND = {"inline", "static", "constexpr", "const", "typedef", "export", "friend", "virtual", "explicit"}


@dataclass(frozen=True)
class Body:
    function: str  # with the names of its classes, e.g. "Reader::Next"
    first: int  # token behind the opening brace
    end: int  # token of the closing brace


@dataclass(frozen=True)
class Default:
    """A member's default value in its class: `= value;`."""
    function: str  # the class
    first: int
    end: int


def template_end(text, i):
    """The token behind the template arguments that begin with the `<` at i, or None if that is a comparison."""
    if not text.is_at(i, "<") or text.text[text.tokens[i].start - 1].isspace():
        return None
    depth = 0
    while i < len(text.tokens):
        if text.is_at(i, "<"):
            depth += 1
        elif text.is_at(i, ">", ">>"):
            depth -= len(text.tokens[i].text)
            if depth <= 0:
                return i + 1
        elif text.is_at(i, ";", "{", "}", ")", "]", "&&", "||"):
            return None
        i = text.skip(i)
    return None


def lambda_body(text, i):
    """The `{` of the lambda whose captures begin with the `[` at i, or None if no lambda begins there."""
    if not text.is_at(i, "[") or text.is_at(i + 1, "["):
        return None
    before = i - 1
    if text.is_at(before, ")", "]") or text.is_kind(before, "string", "number"):
        return None
    if text.is_kind(before, "word") and not text.is_at(before, "return", "co_return", "throw", "case"):
        return None
    i = text.skip(i)
    if text.is_at(i, "<"):
        i = template_end(text, i) or len(text.tokens)
    while i < len(text.tokens) and not text.is_at(i, "{"):
        if text.is_at(i, ";", ",", ")", "}", "]", "="):
            return None
        i = template_end(text, i) or text.skip(i)
    return i if i < len(text.tokens) else None


def find_places(text):
    """All Body and Default of a CppText, in the order of the file."""
    found = []
    _walk(text, 0, len(text.tokens), (), False, found)
    return found


def _walk(text, i, end, owners, is_class, found):
    head = i
    while i < end:
        if text.is_kind(i, "preprocessor"):
            i = head = i + 1
        elif text.is_at(i, ";"):
            if is_class:
                _note_default(text, head, i, owners, found)
            i = head = i + 1
        elif text.is_at(i, ":") and text.is_at(i - 1, "public", "private", "protected"):
            i = head = i + 1
        elif text.is_at(i, "{"):
            closing = text.partner[i]
            kind, name = _classify(text, head, i)
            if kind == "namespace":
                _walk(text, i + 1, closing, owners, False, found)
            elif kind == "class":
                _walk(text, i + 1, closing, (*owners, name), True, found)
            elif kind == "function":
                found.append(Body("::".join((*owners, name)), i + 1, closing))
            i = closing + 1
            if kind in ("namespace", "class", "function"):
                head = i
        else:
            i = template_end(text, i) or text.skip(i)


def _classify(text, head, brace):
    """What the brace opens: "namespace", "class", "function", or "data" (values, enumerations, initialisers)."""
    start = _behind_introduction(text, head, brace)
    if text.is_at(start, "namespace") or (text.is_at(head, "extern") and text.is_kind(head + 1, "string")):
        return "namespace", ""
    if text.is_at(start, "enum"):
        return "data", ""
    top = list(_top_level(text, start, brace))
    groups = [i for i in top if text.is_at(i, "(")]
    if text.is_at(start, "class", "struct", "union") and not groups:
        names = [i for i in top[1:] if text.is_kind(i, "word") and not text.is_at(i, "final")]
        return "class", text.tokens[names[0]].text if names else "unnamed"
    if any(text.is_at(i, "consteval") for i in range(head, brace)):
        return "data", ""
    if any(text.is_at(i, "=") and not text.is_at(i - 1, "operator") for i in top):
        is_body = any(lambda_body(text, i) == brace for i in top)
        if is_body and not any(text.is_at(i, "constexpr") for i in range(head, brace)):
            return "function", "lambda"
        return "data", ""
    if not groups:
        return "data", ""
    colon = next((i for i in top if i > groups[0] and text.is_at(i, ":")), None)
    if colon is not None and (text.is_at(brace - 1, ">") or text.is_kind(brace - 1, "word")) \
            and not text.is_at(brace - 1, "try"):
        return "data", ""  # a member in a constructor's list
    return "function", _function_name(text, start, groups)


def _behind_introduction(text, i, end):
    while i < end:
        if text.is_at(i, "template") and text.is_at(i + 1, "<"):
            i = _angle_end(text, i + 1, end)
        elif text.is_at(i, "[") and text.is_at(i + 1, "["):
            i = text.skip(i)
        elif text.is_kind(i, "word") and text.tokens[i].text in _BEFORE_KIND:
            i += 1
        else:
            break
    return i


def _angle_end(text, i, end):
    """Like template_end for the parameters behind `template`, where a space may stand before `<`."""
    depth = 0
    while i < end:
        if text.is_at(i, "<"):
            depth += 1
        elif text.is_at(i, ">", ">>"):
            depth -= len(text.tokens[i].text)
            if depth <= 0:
                return i + 1
        i = text.skip(i)
    return end


def _top_level(text, i, end):
    while i < end:
        yield i
        i = template_end(text, i) or text.skip(i)


def _function_name(text, start, groups):
    first = groups[0]
    if text.is_at(first - 1, "operator") and len(groups) > 1:
        first = groups[1]  # operator()(...)
    i = first
    while i > start and (text.is_kind(i - 1, "word") and not text.is_kind(i - 2, "word")
                         or text.is_at(i - 1, "::", "~")):
        i -= 1
    operator = next((k for k in range(start, first) if text.is_at(k, "operator")), None)
    if operator is not None:
        i = operator
    elif i > start and text.is_kind(i - 1, "word") and text.is_kind(i, "operator"):
        i -= 1
    elif i == first:
        i = first - 1
    return text.one_line(i, first)


def _note_default(text, head, end, owners, found):
    if any(text.is_at(i, "static", "constexpr", "using", "inline", "(") for i in range(head, end)):
        return
    equals = next((i for i in _top_level(text, head, end) if text.is_at(i, "=")), None)
    if equals is not None:
        found.append(Default("::".join(owners), equals + 1, end))
