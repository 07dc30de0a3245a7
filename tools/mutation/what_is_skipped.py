"""What gets no faults: texts for developers, checks that throw, and calls that only make things faster."""
import re

# A fault in a trace is none that a user sees. An error that is logged fails the run, so that such a call may be left out.
_TRACES = {"Trace", "LogDebug", "LogInfo", "LogWarn", "Debug", "Info", "Warn"}
_LOG_CALL = re.compile(r"Log[A-Z]\w*|Trace|Debug|Info|Warn")
_MACRO = re.compile(r"[A-Z][A-Z0-9_]{2,}|assert")
_NO_OUTCOME = {"reserve", "shrink_to_fit", "static_cast", "ignore"}


def is_not_looked_into(name):
    """Calls whose arguments get no faults: log calls, assertions, macros."""
    return bool(_LOG_CALL.fullmatch(name) or _MACRO.fullmatch(name))


def may_be_left_out(names, arguments):
    """Whether a call of a.b.c (`names`) with this text of arguments may be deleted as a fault."""
    last = names[-1]
    if _MACRO.fullmatch(last) or last in _NO_OUTCOME or last in _TRACES:
        return False
    if last in ("LogText", "LogResource"):
        return "LogLevelType::Error" in arguments or "LogLevelType::Fatal" in arguments
    return True
