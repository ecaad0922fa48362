"""Exceptions of the binding: a request the library refused, and an answer the platform
refused. Each carries what the C interface reports beside it."""

from __future__ import annotations

from typing import Optional

STATUS_NAMES = {
    -5: "PAVO_STATUS_FAILURE_ALREADYINITED",
    -4: "PAVO_STATUS_FAILURE_NOTINITED",
    -3: "PAVO_STATUS_FAILURE_NOTOPENED",
    -2: "PAVO_STATUS_FAILURE_NOTLOGINED",
    -1: "PAVO_STATUS_FAILURE",
}


class PavoError(Exception):
    """A request that did not give an answer: status is the pavo_status_t it returned."""

    def __init__(self, request: str, status: int, resultcode: Optional[int] = None,
                 resultmsg: Optional[str] = None, httpecode: int = 0,
                 httpretcode: int = 0, detail: str = "") -> None:
        self.request = request
        self.status = status
        self.resultcode = resultcode
        self.resultmsg = resultmsg
        self.httpecode = httpecode
        self.httpretcode = httpretcode
        name = STATUS_NAMES.get(status, str(status))
        super().__init__(f"{request}: {name}" + (f" ({detail})" if detail else ""))


class PlatformError(PavoError):
    """An answer whose resultcode is negative: the platform refused the request."""

    def __init__(self, request: str, resultcode: int, resultmsg: Optional[str],
                 httpecode: int, httpretcode: int) -> None:
        super().__init__(request, 0, resultcode, resultmsg, httpecode, httpretcode)
        self.args = (f"{request}: platform refused with {resultcode}"
                     + (f" ({resultmsg})" if resultmsg else ""),)
