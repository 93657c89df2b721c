# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""A boot loader that boots only signed images: the public key goes into its device tree."""

import re
import shutil
import subprocess
from pathlib import Path

from failure import Failure

BITS = (2048, 3072, 4096)


def check_key(key: Path):
    """Raises Failure unless make-firmware can sign with the key."""
    text = subprocess.run(["openssl", "rsa", "-in", key, "-check", "-noout", "-text"],
                          capture_output=True, text=True).stdout
    size = re.search(r"Private-Key: \((\d+) bit", text)
    if not size or int(size[1]) not in BITS:
        raise Failure(f"no private RSA key of 2048, 3072 or 4096 bits in {key}")


def check_certificate(certificate: Path):
    """Raises Failure unless the boot loader can check signatures with the certificate's key."""
    _modulus(certificate)


def check_pair(key: Path, certificate: Path):
    """Raises Failure unless the certificate is the key's: the boot loader would refuse other
    firmware."""
    if not shutil.which("openssl"):
        return  # ./run installs it, and the console checks again
    if _modulus_text("rsa", key) != _modulus_text("x509", certificate):
        raise Failure(f"{certificate} is not the certificate of {key}")


def _modulus_text(kind: str, file: Path) -> str:
    return subprocess.run(["openssl", kind, "-in", file, "-noout", "-modulus"],
                          capture_output=True, text=True).stdout


def _modulus(certificate: Path) -> int:
    name, _, number = _modulus_text("x509", certificate).strip().partition("=")
    try:
        modulus = int(number, 16)
    except ValueError:
        modulus = 0
    if name != "Modulus" or modulus.bit_length() not in BITS:
        raise Failure(f"no certificate with an RSA key of 2048, 3072 or 4096 bits in {certificate}")
    return modulus


def _exponent(certificate: Path) -> int:
    text = subprocess.run(["openssl", "x509", "-in", certificate, "-noout", "-text"],
                          capture_output=True, text=True, check=True).stdout
    return int(text.partition("Exponent: ")[2].split()[0])


def _words(number: int, bits: int) -> str:
    return " ".join(f"0x{number >> at & 0xFFFFFFFF:x}" for at in range(bits - 32, -32, -32))


def _node(modulus: int, exponent: int) -> str:
    """The key's properties for U-Boot, with two numbers that save it a division."""
    bits = modulus.bit_length()
    return f"""/ {{ signature {{ key-key {{
        required = "conf"; algo = "sha256,rsa{bits}"; key-name-hint = "key";
        rsa,num-bits = <{bits}>; rsa,exponent = <{_words(exponent, 64)}>;
        rsa,modulus = <{_words(modulus, bits)}>;
        rsa,r-squared = <{_words(pow(2, 2 * bits, modulus), bits)}>;
        rsa,n0-inverse = <{(1 << 32) - pow(modulus, -1, 1 << 32)}>;
    }}; }}; }};
"""


def loader(image: Path, certificate: Path) -> bytes:
    """The boot loader of `image` with the certificate's key."""
    if not certificate.is_file():
        raise Failure(f"no certificate {certificate}")
    folder = image / "loader"
    convert = [folder / "dtc", "-q", "-I", "dtb", "-O", "dts", folder / "machine.dtb"]
    source = subprocess.run(convert, capture_output=True, text=True, check=True).stdout
    source += _node(_modulus(certificate), _exponent(certificate))
    tree = subprocess.run([folder / "dtc", "-q", "-I", "dts", "-O", "dtb"], input=source.encode(),
                          capture_output=True, check=True).stdout
    return (folder / "u-boot-nodtb.bin").read_bytes() + tree
