"""Who may talk to schedulers and workers: this machine alone, or who has the right certificate."""

from __future__ import annotations

import ipaddress
from dataclasses import dataclass
from typing import Any

from ..errors import TrelError, need

PACKAGE = "python3-distributed"


def need_distributed() -> Any:
    """Return the module ``distributed``."""
    return need("distributed", PACKAGE)


@dataclass(frozen=True)
class Tls:
    """The files of TLS, PEM: of the authority that both sides trust, and one's own."""

    ca: str
    cert: str
    key: str

    def security(self) -> Any:
        """Return what ``distributed`` takes; nothing goes out that is not encrypted."""
        told = {f"tls_{who}_{kind}": getattr(self, kind)
                for who in ("client", "worker", "scheduler") for kind in ("cert", "key")}
        return need_distributed().Security(tls_ca_file=self.ca, require_encryption=True, **told)


def check_address(address: str, tls: Tls | None, insecure: bool) -> str:
    """Return the host of an address like ``tcp://127.0.0.1:8786``.

    Whoever reaches a scheduler or a worker without TLS can run programs as its user: a TrelError
    unless the address is of this machine alone, or ``tls`` is given, or it is ``insecure`` at will.
    """
    protocol, found, rest = address.partition("://")
    host, _, port = rest.rpartition(":")
    if not found or not port.isdigit() or protocol not in ("tcp", "tls"):
        raise TrelError(f"got {address!r}, expected tcp://HOST:PORT or tls://HOST:PORT")
    if (protocol == "tls") != (tls is not None):
        raise TrelError(f"{address}: tls:// goes with the files of TLS, tcp:// without")
    host = host.strip("[]")
    if not (is_loopback(host) or tls or insecure):
        raise TrelError(f"{address}: others could run programs by it. Take an ssh tunnel to "
                        "127.0.0.1, or TLS; or say --insecure")
    return host


def is_loopback(host: str) -> bool:
    """Tell whether a host is this machine, out of reach of others."""
    try:
        return ipaddress.ip_address(host).is_loopback
    except ValueError:
        return host == "localhost"
