"""The calculator for Python, by ctypes and the shared library.

    calculator = Calculator()
    calculator["x"] = 2
    calculator("2*x")                       # 4.0
    calculator.formula("2*x+1")(x=[1, 2])   # [3.0, 5.0]
"""

import ctypes.util
import os
from ctypes import CFUNCTYPE, POINTER, byref, c_char, c_char_p, c_double, c_int, c_size_t, c_void_p
from enum import IntEnum

Kind = IntEnum("Kind", "OK TEXT UNKNOWN_NAME EVALUATION STEP_LIMIT TIME_LIMIT NESTING_LIMIT SIZE_LIMIT MEMORY_LIMIT "
                       "CANCELLED OUT_OF_MEMORY REPORTED", start=0)
Limit = IntEnum("Limit", "STEPS SECONDS LEVELS STACK MEMORY", start=0)
Purity = IntEnum("Purity", "IMPURE PURE", start=0)
Write = CFUNCTYPE(None, c_void_p, POINTER(c_char), c_size_t)
Take = CFUNCTYPE(None, c_void_p, c_char_p)
Function = CFUNCTYPE(c_int, c_void_p, c_void_p, POINTER(c_double), c_size_t, POINTER(c_double))


class Values(ctypes.Structure):
    _fields_ = [("name", c_char_p), ("numbers", POINTER(c_double))]


library = ctypes.CDLL(os.environ.get("QUARN") or ctypes.util.find_library("quarn") or "libquarn.so")
library.quarn_error.restype = c_char_p
library.quarn_error_position.restype = c_size_t


class CalculatorError(Exception):
    """A failure: its message, its kind, and its position in the text or None."""

    def __init__(self, message, kind, position):
        super().__init__(message)
        self.kind, self.position = kind, position


def text_of(value):
    if "\0" in value:
        raise ValueError("a NUL character in a text")
    return value.encode(errors="replace")


def array(numbers):
    return (c_double * len(numbers))(*numbers)


def is_list(value):
    return hasattr(value, "__len__")


class Calculator:
    def __init__(self):
        self._state = c_void_p()
        self._kept = []  # the functions that the library may call
        if library.quarn_new(byref(self._state)) != Kind.OK:
            raise MemoryError

    def __del__(self):
        library.quarn_free(self._state)

    def call(self, operation, handle, *arguments):
        """Calls the library, and raises its failure."""
        kind = getattr(library, "quarn_" + operation)(handle, *arguments)
        if kind != Kind.OK:
            position = library.quarn_error_position(self._state)
            raise CalculatorError(library.quarn_error(self._state).decode(errors="replace"), Kind(kind),
                                  None if position == c_size_t(-1).value else position)

    def list(self, operation, handle, *arguments):
        texts = []
        self.call(operation, handle, *arguments, Take(lambda host, text: texts.append(text.decode())), None)
        return texts

    def __call__(self, expression):
        """The value of an expression, a number; `vector` and `text` give others."""
        number = c_double()
        self.call("evaluate", self._state, text_of(expression), byref(number))
        return number.value

    def vector(self, expression):
        numbers, count = POINTER(c_double)(), c_size_t()
        self.call("evaluate_vector", self._state, text_of(expression), byref(numbers), byref(count))
        return numbers[:count.value]

    def text(self, expression):
        text = c_char_p()
        self.call("evaluate_text", self._state, text_of(expression), byref(text))
        return text.value.decode(errors="replace")

    def run(self, line):
        """What the statements of a line report. Their failures are reports, no exceptions."""
        reports = []
        write = Write(lambda host, text, size: reports.append(text[:size]))
        try:
            self.call("run", self._state, text_of(line), write, None)
        except CalculatorError as error:
            if error.kind != Kind.REPORTED:
                raise
        return b"".join(reports).decode(errors="replace")

    def __setitem__(self, name, value):
        if is_list(value):
            self.call("set_vector", self._state, text_of(name), array(value), c_size_t(len(value)))
        else:
            self.call("set", self._state, text_of(name), c_double(value))

    def __getitem__(self, name):
        number = c_double()
        self.call("get", self._state, text_of(name), byref(number))
        return number.value

    def __delitem__(self, name):
        self.call("erase", self._state, text_of(name))

    def __iter__(self):
        return iter(self.list("names", self._state))

    def limit(self, limit, most):
        self.call("limit", self._state, c_int(limit), c_double(most))

    def define(self, name, function, parameters=None, purity=Purity.IMPURE):
        """A function of numbers. Its exceptions are failures of the expressions that call it."""

        def call(state, host, arguments, count, result):
            try:
                result[0] = function(*arguments[:count])
                return Kind.OK
            except BaseException as error:
                return library.quarn_fail(self._state, (str(error) or type(error).__name__).encode(errors="replace"))

        count = c_size_t(function.__code__.co_argcount if parameters is None else parameters)
        self._kept.append(Function(call))
        self.call("define", self._state, text_of(name), count, c_int(purity), self._kept[-1], None)

    def formula(self, expression):
        return Formula(self, expression)


class Formula:
    """An expression that is parsed once. Its names are symbols, or the keywords that it is called with."""

    def __init__(self, calculator, expression):
        self._calculator, self._formula, self._bound = calculator, c_void_p(), {}
        calculator.call("formula_new", calculator._state, text_of(expression), byref(self._formula))
        calculator.call("formula_check", self._formula)
        self.names = calculator.list("formula_names", self._formula, c_int(0))

    def __del__(self):
        library.quarn_formula_free(self._formula)

    def __call__(self, **variables):
        """The value, a number; if variables are lists, of one length, a list of values.

        A variable keeps its value, the last one of a list, for later calls that leave it out."""
        unknown = variables.keys() - self.names
        if unknown:
            raise TypeError("the formula does not name " + ", ".join(sorted(unknown)))
        lists = {name: array(value) for name, value in variables.items() if is_list(value)}
        count, *others = {len(numbers) for numbers in lists.values()} or {0}
        if others:
            raise ValueError("the lists have different lengths")
        for name in variables.keys() - lists.keys():
            if name not in self._bound:
                self._bind(name)
            self._bound[name].value = variables[name]
        if not lists:
            number = c_double()
            self._calculator.call("formula_evaluate", self._formula, byref(number))
            return number.value
        results = (c_double * count)()
        values = (Values * len(lists))(*[Values(name.encode(), numbers) for name, numbers in lists.items()])
        try:
            self._calculator.call("formula_evaluate_each", self._formula, results, c_size_t(count), values,
                                  c_size_t(len(lists)))
        finally:
            for name, numbers in lists.items():
                self._bind(name).value = numbers[-1] if count > 0 else 0
        return list(results)

    def _bind(self, name):
        """Has a name stand for a number, which is kept as long as the formula."""
        number = self._bound.setdefault(name, c_double())
        self._calculator.call("formula_bind", self._formula, name.encode(), byref(number))
        return number
