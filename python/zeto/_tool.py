"""The command-line tool, where it is."""
import os
import subprocess
from typing import Any, Optional, Sequence

from ._library import beside_this
from ._paths import TOOL


def run_tool(words: Sequence[str], tool: Optional[str] = None, **options: Any) -> "subprocess.CompletedProcess[bytes]":
    """The file given, else the one that ZETO_TOOL names, else the one installed with this module, else the path's."""
    tool = tool or os.environ.get("ZETO_TOOL") or beside_this(TOOL) or "zeto"
    try:
        return subprocess.run([tool, *words], stdout=subprocess.PIPE, **options)
    except OSError as error:
        raise OSError(f"cannot run {tool} ({error.strerror}); --zeto or ZETO_TOOL may name the tool") from error
