"""The examples of the documents and of every public name, as they stand there."""

import doctest
import re

import pytest

import rksignal
from conftest import ROOT

OPTIONS = doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE
PUBLIC = [getattr(rksignal, name) for name in rksignal.__all__ if name != "__version__"]
EXAMPLES = {test.name: test for each in [rksignal, *PUBLIC]
            for test in doctest.DocTestFinder(recurse=False).find(each, extraglobs={"rksignal": rksignal})
            if test.examples}
EXAMPLES.update({test.name: test for test in doctest.DocTestFinder().find(rksignal.Batches, "Batches")
                 if test.examples})


def run(test):
    source = "".join(example.source for example in test.examples)
    for library in re.findall(r"to_(pandas|polars)|import (\w+)", source):
        pytest.importorskip(library[0] or library[1])
    test.globs["rksignal"] = rksignal
    told = []
    doctest.DocTestRunner(optionflags=OPTIONS).run(test, out=told.append)
    assert not told, "".join(told)


@pytest.mark.parametrize("name", EXAMPLES)
def test_examples_of_docstrings(name):
    run(EXAMPLES[name])


def test_examples_of_the_guide():
    path = ROOT / "docs/python.md"
    text = re.sub(r"^```.*$", "", path.read_text(encoding="utf-8"), flags=re.M)
    run(doctest.DocTestParser().get_doctest(text, {}, "python.md", str(path), 0))


def test_the_notebook():
    nbclient, nbformat = pytest.importorskip("nbclient"), pytest.importorskip("nbformat")
    folder = ROOT / "examples/notebook"
    notebook = nbformat.read(folder / "drive.ipynb", 4)
    assert not any(cell.get("outputs") for cell in notebook.cells)
    nbclient.NotebookClient(notebook, timeout=300, resources={"metadata": {"path": str(folder)}}).execute()
    assert any("image/png" in output.get("data", {}) for output in notebook.cells[-1].outputs)


@pytest.mark.parametrize("name", ["read", "frames", "load", "triggers", "explain", "Database"])
def test_every_way_in_has_an_example(name):
    assert name in EXAMPLES
