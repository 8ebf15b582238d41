"""The examples in the docstrings."""

import doctest
import importlib
import inspect
import pkgutil

import pytest

import meldra3d

MODULES = ["meldra3d"] + [
    f"meldra3d.{module.name}" for module in pkgutil.iter_modules(meldra3d.__path__) if module.name[0] != "_"
]


@pytest.mark.parametrize("name", MODULES)
def test_examples_in_docstrings_run(name):
    assert doctest.testmod(importlib.import_module(name), optionflags=doctest.NORMALIZE_WHITESPACE).failed == 0


# The example of `read` shows `write`, too.
FUNCTIONS = [name for name in meldra3d.__all__ if inspect.isfunction(getattr(meldra3d, name)) and name != "write"]


@pytest.mark.parametrize("name", FUNCTIONS)
def test_public_functions_have_an_example(name):
    assert ">>> " in getattr(meldra3d, name).__doc__
