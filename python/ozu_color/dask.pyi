"""Type stubs of ozu_color.dask."""

from typing import Any, Callable, Union

import dask.array as da

def apply(operation: Union[str, Callable[..., Any]], array: Any, *args: Any, threads: int = 1,
          **kwargs: Any) -> da.Array: ...
