"""Where the library and the command-line tool lie, relative to this folder. Empty in the source tree; installing writes
them."""
LIBRARY = ""
TOOL = ""
