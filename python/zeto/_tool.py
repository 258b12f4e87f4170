"""The command-line tool, where it is."""
import os
import subprocess
import sys
from typing import Any, List, Mapping, Optional, Sequence

from ._library import beside_this
from ._paths import TOOL


def run_tool(words: Sequence[str], tool: Optional[str] = None, **options: Any) -> "subprocess.CompletedProcess[bytes]":
    """The file given, else the one that ZETO_TOOL names, else the one installed with this module, else the path's."""
    tool = tool or os.environ.get("ZETO_TOOL") or beside_this(TOOL) or "zeto"
    try:
        return subprocess.run([tool, *words], stdout=subprocess.PIPE, **options)
    except OSError as error:
        raise OSError(f"cannot run {tool} ({error.strerror}); --zeto or ZETO_TOOL may name the tool") from error


_SPANS = ("present", "background")  # of which two numbers are FROM-TO


def words(options: Mapping[str, Any]) -> List[str]:
    """Options as the tool's words: _ is -, a flag is True, several numbers are a tuple, a list is given one by one."""
    return [word for name, value in options.items() for word in _words(name, value)]


def _words(name: str, value: Any) -> List[str]:
    option = "--" + name.replace("_", "-")
    if value is None or value is False:
        return []
    if value is True:
        return [option]
    if isinstance(value, list):
        return [word for one in value for word in _words(name, one)]
    if isinstance(value, tuple):
        value = ("-" if name in _SPANS else ",").join(map(str, value))
    return [f"{option}={value}"]


def asked(line: Sequence[str], tool: Optional[str] = None) -> bytes:
    """What the tool answers. Bad options are ValueErrors, files that cannot be read OSErrors, with its own line."""
    done = run_tool(line, tool, stderr=subprocess.PIPE)
    said = done.stderr.decode(errors="replace")
    if done.returncode:
        raise (OSError if done.returncode == 1 else ValueError)(said.strip())
    sys.stderr.write(said)  # warnings
    return done.stdout
