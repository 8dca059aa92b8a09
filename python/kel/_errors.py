"""The exceptions and the warning of the package."""


class Error(Exception):
    """The input yields nothing, or a condition of the library was violated; the text says which."""


class FileError(Error, OSError):
    """A file can't be read or written; the text says why."""


class KelWarning(UserWarning):
    """Input was used only in part, or something that was asked for couldn't be done."""


for _class in (Error, FileError, KelWarning):
    _class.__module__ = "kel"  # where users find them
del _class
