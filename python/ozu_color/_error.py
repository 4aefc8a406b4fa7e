"""ozu_color.Error, the one exception the package raises for bad input."""


class Error(ValueError):
    """A failure reported by the colour library, its host, or the package's
    own checks of its arguments.

    Attributes:
        code: the error code, negative, as the C library records it
            (``-506`` an unknown colour space, ``-106`` a pixel type the
            operation does not take, ``-500`` the wrong number of planes, ...).
        text: the library's text for ``code`` (``IPL_GetErrorString``).
        message: what failed, in the package's words.
    """

    def __init__(self, code, text, message):
        super().__init__(code, text, message)
        self.code = code
        self.text = text
        self.message = message

    def __str__(self):
        return f"{self.message}: error {self.code} ({self.text})"
