"""Makes a machine image whose texts try to become markup, scripts, lines or commands."""

import shutil
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# Each would be seen if it ran: it sets the title or makes an element with the name "owned".
MARKUP = "<img src=x onerror=document.title='owned'><b id=owned>&amp;\"'`"
SCRIPT = "</script></style></title><script>document.title='owned'</script><!--packages-->"
TURNED = "\u202egpj.exe\u2066\u200f"
CONTROLS = "\x1b[31m\x08\x7f\u0085"

USER_DATA = (r"HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Installer"
             r"\UserData\S-1-5-18")
PRODUCT = USER_DATA + r"\Products\1E09A7B5E2D491C4A845CE3810F63C00\Patches"
CLASSES = r"HKEY_LOCAL_MACHINE\SOFTWARE\Classes\Installer\Patches"
PATCH_1 = "112101D72B39F5E46A1CF0E2D4B6A810"
PATCH_2 = "222101D72B39F5E46A1CF0E2D4B6A820"
PATCH_7 = "772101D72B39F5E46A1CF0E2D4B6A870"

# Names that Windows allows.
FILES = ["a' onclick='document.title=1' & b.msp", "&lt;b&gt;;--.msp", "x" * 200 + ".msp"]


def make_hostile_image(folder):
    """Writes the image into `folder`, which must not exist."""
    shutil.copytree(ROOT / "samples/incremental", folder)
    cache = folder / "C/Windows/Installer"
    values = [
        (PRODUCT, PATCH_1, "", "DisplayName", MARKUP + " (24.1.20604)"),
        (PRODUCT, PATCH_2, "", "DisplayName", TURNED + CONTROLS + "\n[x] (24.1.20613)"),
        (CLASSES, PATCH_1, r"\SourceList", "PackageName", SCRIPT + "2400120604.msp"),
        (CLASSES, PATCH_2, r"\SourceList", "PackageName",
         "2400120613_incr" + "'\">" * 60 + ".msp"),
        (USER_DATA + r"\Patches", PATCH_7, "", "LocalPackage",
         r"C:\Windows\Installer" + "\\<svg onload=document.title='owned'>.msp"),
    ]
    lines = ""
    for key, patch, below, name, text in values:
        quoted = text.replace("\\", "\\\\").replace('"', '\\"')
        lines += f'\n[{key}\\{patch}{below}]\n"{name}"="{quoted}"\n'
    with open(folder / "registry.reg", "a", encoding="utf-8", newline="") as registry:
        registry.write(lines)
    # Packages whose descriptions are mostly zeros, in the place of which anything can stand: an
    # orphan, which has a line in the log, and a foreign one.
    kinds = ROOT / "tests/images/orphans-of-every-kind/C/Windows/Installer"
    for name, text in (("long.msp", MARKUP + SCRIPT + CONTROLS), ("late.msp", SCRIPT + MARKUP)):
        content = (kinds / name).read_bytes()
        hostile = text.encode("cp1252", "replace")
        place = content.rindex(b"0" * 200)
        hostile += b" " * (200 - len(hostile))
        (cache / name).write_bytes(
            content[:place] + hostile[:200] + content[place + 200:])
    for name in FILES:
        shutil.copy(cache / "5a01c3.msp", cache / name)
    (folder / "args.txt").write_text(
        "{5B7A90E1-4D2E-4C19-8A54-EC83016FC300}\n24.3.20790." + MARKUP + "\n", encoding="utf-8")
