"""check_dll.py DLL PDB VERSION MOST_BYTES PDBUTIL FOLDER...: the DLL that ships, read from outside."""
import re
import struct
import subprocess
import sys

import pefile

# What a clean Windows 10 has. msvcrt.dll is the system's own C runtime.
ALLOWED_LIBRARIES = set("""
    advapi32 cfgmgr32 crypt32 gdi32 gdiplus kernel32 msvcrt ole32 oleaut32 powrprof rpcrt4 secur32 setupapi
    shlwapi user32 wtsapi32""".split())

complaints = []


def expect(what, found, wanted):
    if found != wanted:
        complaints.append(f"{what}: {found!r}, expected {wanted!r}")


def check_headers(dll):
    expect("machine", pefile.MACHINE_TYPE[dll.FILE_HEADER.Machine], "IMAGE_FILE_MACHINE_AMD64")
    expect("is a DLL", dll.FILE_HEADER.IMAGE_FILE_DLL, True)
    for flag in ("DYNAMIC_BASE", "HIGH_ENTROPY_VA", "NX_COMPAT"):
        expect(flag, getattr(dll.OPTIONAL_HEADER, f"IMAGE_DLLCHARACTERISTICS_{flag}"), True)
    # By it symbol stores and crash reports tell builds apart.
    expect("has a time stamp", dll.FILE_HEADER.TimeDateStamp != 0, True)
    # Marked as relocatable is not enough: without relocations it stays where it is.
    expect("has relocations", hasattr(dll, "DIRECTORY_ENTRY_BASERELOC"), True)


def check_functions(dll):
    exports = [symbol.name for symbol in dll.DIRECTORY_ENTRY_EXPORT.symbols]
    expect("exports", exports, [b"DllCanUnloadNow", b"DllGetClassObject"])
    libraries = {entry.dll.decode().lower().removesuffix(".dll") for entry in dll.DIRECTORY_ENTRY_IMPORT}
    expect("imports kernel32", "kernel32" in libraries, True)
    expect("imports from libraries that not every Windows has", libraries - ALLOWED_LIBRARIES, set())
    # The sensor vendor's library is not on every machine: bound when it is called, not when the DLL is loaded.
    delayed = {entry.dll: sorted(function.name for function in entry.imports)
               for entry in dll.DIRECTORY_ENTRY_DELAY_IMPORT}
    expect("delayed imports", delayed,
           {b"vcsWavePba.dll": [b"vcsWavPbaClose", b"vcsWavPbaGetAuthUserCreds", b"vcsWavPbaOpen"]})


def check_resources(dll, version):
    resources = {(kind.id or str(kind.name), item.id): dll.get_data(place.OffsetToData, place.Size)
                 for kind in dll.DIRECTORY_ENTRY_RESOURCE.entries for item in kind.directory.entries
                 for place in [item.directory.entries[0].data.struct]}
    # A bitmap header of 40 bytes, 266 x 266 pixels, 1 plane, 24 bits; rows are filled up to four bytes.
    tile = resources.get((pefile.RESOURCE_TYPE["RT_BITMAP"], 105), b"")
    expect("tile", tile[:16], struct.pack("<IiiHH", 40, 266, 266, 1, 24))
    expect("bytes of the tile", len(tile), 40 + 266 * 800)
    png = b"\x89PNG\r\n\x1a\n\0\0\0\rIHDR"
    # RGBA of 8 bits.
    expect("prompt image", resources.get(("PNG", 103), b"")[:26], png + struct.pack(">IIBB", 72, 72, 8, 6))
    expect("second prompt image", resources.get(("PNG", 104), b"")[:16], png)

    major, minor, patch = map(int, version.split("."))
    numbers = dll.VS_FIXEDFILEINFO[0]
    expect("file version", (numbers.FileVersionMS, numbers.FileVersionLS), (major << 16 | minor, patch << 16))
    expect("product version", numbers.ProductVersionMS, numbers.FileVersionMS)
    texts = {name: text for part in dll.FileInfo[0] for table in getattr(part, "StringTable", [])
             for name, text in table.entries.items()}
    expect("version texts", [texts.get(b"FileVersion"), texts.get(b"ProductVersion")], [version.encode()] * 2)


def check_pdb(dll, pdb, pdbutil):
    """The debugger takes the PDB of the same identity and age only."""
    summary = subprocess.run([pdbutil, "dump", "--summary", pdb], check=True, capture_output=True, text=True).stdout
    guid = re.search(r"GUID: \{([^}]+)\}", summary)[1].replace("-", "")
    age = int(re.search(r"Age: (\d+)", summary)[1])
    named = [(entry.entry.Signature_String, entry.entry.PdbFileName.rstrip(b"\0").decode())
             for entry in dll.DIRECTORY_ENTRY_DEBUG if hasattr(entry.entry, "PdbFileName")]
    expect("PDBs named", named, [(f"{guid}{age:X}", pdb.rpartition("/")[2])])


def main(path, pdb, version, most_bytes, pdbutil, *folders):
    dll = pefile.PE(path)
    check_headers(dll)
    check_functions(dll)
    check_resources(dll, version)
    check_pdb(dll, pdb, pdbutil)
    content = bytes(dll.__data__)
    expect(f"more than {most_bytes} bytes", len(content) > int(most_bytes), False)
    # Nothing in it tells where it was built.
    told = [folder for folder in folders for encoding in ("utf-8", "utf-16-le") if folder.encode(encoding) in content]
    expect("paths of the build", told, [])
    sys.exit("\n".join(complaints) or 0)


main(*sys.argv[1:])
