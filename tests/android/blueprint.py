"""Reads Android.bp files."""

import re

TOKEN = re.compile(r'(?:\s|//[^\n]*)*(\w+|"[^"]*"|[=:,{}\[\]]|$)')


class Reader:
    def __init__(self, text):
        self.tokens = []
        self.variables = {}
        at = 0
        while at < len(text):
            found = TOKEN.match(text, at)
            if not found:
                raise ValueError(f"no blueprint: {text[at:at + 40]}")
            self.tokens.append(found[1])
            at = found.end()

    def take(self, wanted):
        """The next token, which must be that one, or one that matches when it is a pattern."""
        token = self.tokens.pop(0)
        if not re.fullmatch(wanted, token):
            raise ValueError(f"{token} instead of {wanted}, before {self.tokens[:5]}")
        return token

    def items(self, end):
        """Once for each item up to that bracket; the caller takes the item."""
        while self.tokens[0] != end:
            yield
            if self.tokens[0] != end:
                self.take(",")
        self.take(re.escape(end))

    def value(self):
        if self.tokens[0] == "[":
            self.take(r"\[")
            return [self.value() for _ in self.items("]")]
        if self.tokens[0] == "{":
            self.take("{")
            return dict(self.member() for _ in self.items("}"))
        token = self.take(r'\w+|".*"')
        return self.variables.get(token, token.strip('"'))

    def member(self):
        name = self.take(r"\w+")
        self.take(":")
        return name, self.value()

    def modules(self):
        while self.tokens and self.tokens[0]:
            word = self.take(r"\w+")
            if self.tokens[0] == "=":
                self.take("=")
                self.variables[word] = self.value()
            else:
                yield self.value()


def read_blueprints(*paths):
    """The modules by their "name"; those without one are left out. A text, true and false are str,
    a list is a list, a map is a dict, a variable is what it holds. ValueError at anything else."""
    modules = [module for path in paths for module in Reader(path.read_text()).modules()]
    return {module["name"]: module for module in modules if "name" in module}
