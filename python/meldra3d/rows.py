"""Text files of numbers, as the command takes them."""

from pathlib import Path
from typing import List, Tuple, Union

import numpy as np


def read_rows(path: Union[str, Path], widths: Tuple[int, ...], *, heading: bool = False) -> np.ndarray:
    """Read rows of numbers, apart by spaces or commas; # begins a comment.

    Parameters
    ----------
    path : str or path
        A text file.
    widths : tuple of int
        How many numbers a row may have; all have as many as the first.
    heading : bool
        Let the first row be one of words, which is left out.

    Returns
    -------
    ndarray
        ``(n, width)`` numbers; no rows when the file has none.

    Raises
    ------
    ValueError
        When the file cannot be read, or a row holds something else. The message begins with the path.

    Examples
    --------
    >>> import os, tempfile
    >>> with tempfile.TemporaryDirectory() as folder:
    ...     path = os.path.join(folder, "points.csv")
    ...     _ = Path(path).write_text("x,y,z\\n0,0,1\\n0.5,0,1e-3")
    ...     read_rows(path, (3,), heading=True)
    array([[0.   , 0.   , 1.   ],
           [0.5  , 0.   , 0.001]])
    """
    try:
        with open(path, encoding="utf-8-sig", errors="replace") as file:
            text = file.read().splitlines()
    except OSError as error:
        raise ValueError(f"{path}: cannot be read ({(error.strerror or str(error)).lower()})") from None
    rows: List[List[float]] = []
    for number, row in enumerate(text, 1):
        words = row.partition("#")[0].replace(",", " ").split()
        if heading and words:
            heading = False
            if not any(map(_is_number, words)):
                continue
        if not all(map(_is_number, words)):
            raise ValueError(f"{path}: row {number} does not hold numbers")
        if words and len(words) not in (widths if not rows else (len(rows[0]),)):
            wanted = str(len(rows[0])) if rows else " or ".join(", ".join(map(str, widths)).rsplit(", ", 1))
            raise ValueError(f"{path}: row {number} has {len(words)} numbers in place of {wanted}")
        if words:
            rows.append([float(word) for word in words])
    return np.array(rows).reshape(len(rows), -1 if rows else widths[0])


def _is_number(word: str) -> bool:
    try:
        float(word)
    except ValueError:
        return False
    return True
