#!/usr/bin/env python3
"""Looks at the page of `symhost sizes --html` in a headless Chromium, at two window sizes.

    size_page.py SYMHOST FOLDER_OF_SAMPLES [--shots FOLDER]

Ends with 77, and a word, where there is no Chromium.
"""

import argparse
import json
import pathlib
import struct
import subprocess
import sys
import tempfile
import time

import browser

WINDOWS = ((480, 800), (1600, 1000))
NAMES = ["</script><script>document.title='broken'</script>", "<!--", "operator<", "a&amp;b\"'", "$a.not_arm\u2028"]


def check(what, got, wanted):
    if got != wanted:
        raise AssertionError(f"{what}: {got!r} and not {wanted!r}")


def write_program(path, symbols):
    """A program of one section, of names that a compiler would not give."""
    strings, table = b"\0", b"\0" * 16
    for i, name in enumerate(symbols):
        table += struct.pack("<IIIBBH", len(strings), 0x8000 + 4 * i, 4, 0x12, 0, 1)
        strings += name.encode() + b"\0"
    headers = b"\0.text\0.symtab\0.strtab\0"
    at = 52
    sections = [struct.pack("<10I", *[0] * 10)]
    body = b""
    for name, kind, flags, address, data, link, entry in (
            (1, 1, 6, 0x8000, b"\0" * 4 * len(symbols), 0, 0), (7, 2, 0, 0, table, 3, 16),
            (15, 3, 0, 0, strings, 0, 0), (0, 3, 0, 0, headers, 0, 0)):
        sections.append(struct.pack("<10I", name, kind, flags, address, at + len(body), len(data), link, 1, 4, entry))
        body += data
    head = b"\x7fELF\1\1\1" + b"\0" * 9 + struct.pack("<HHIIIIIHHHHHH", 2, 40, 1, 0x8000, 0, at + len(body), 0x5000000,
                                                     52, 0, 0, 40, len(sections), 4)
    pathlib.Path(path).write_bytes(head + body + b"".join(sections))


class Page:
    def __init__(self, page, symhost, folder, shots):
        self.browser, self.symhost, self.folder, self.shots = page, symhost, folder, shots

    def make(self, program):
        path = str(pathlib.Path(self.folder) / (pathlib.Path(program).name + ".html"))
        subprocess.run([self.symhost, "sizes", program, "--html", path], check=True, stderr=subprocess.DEVNULL)
        records = subprocess.run([self.symhost, "sizes", program, "--json"], check=True, stdout=subprocess.PIPE,
                                 stderr=subprocess.DEVNULL).stdout
        return path, [json.loads(line) for line in records.splitlines()]

    def shoot(self, name):
        if self.shots:
            self.browser.screenshot(str(pathlib.Path(self.shots) / (name + ".png")))

    def texts(self, selector):
        return self.browser.run(f"[...document.querySelectorAll({json.dumps(selector)})].map(e => e.textContent)")

    def search(self, text):
        self.browser.run(f"""(() => {{ const field = document.getElementById('search');
            field.value = {json.dumps(text)}; field.dispatchEvent(new Event('input')); }})()""")
        self.browser.settle()


def rows(page):
    return page.browser.run("""[...document.querySelectorAll('#rows tr')].map(row =>
        [row.querySelector('.name div').textContent, Number(row.lastChild.textContent.replaceAll(',', ''))])""")


def check_sums(page, records):
    sections = [record for record in records if record["record"] == "section"]
    for label, without in (("All bytes", None), ("Flash", "ram"), ("RAM", "flash")):
        total = sum(section["size"] for section in sections if section["memory"] != without)
        tile = next(text for text in page.texts("#memory button") if text.startswith(label))
        check(label, tile.endswith(f"{total:,} bytes"), True)
    # The boxes and their areas are the sections.
    boxes = page.browser.run("""[...document.querySelectorAll('.box')].map(box =>
        [box.getAttribute('aria-label').split(',')[0], box.offsetWidth * box.offsetHeight])""")
    sized = {section["name"]: section["size"] for section in sections if section["size"] != 0}
    check("boxes", {name for name, _ in boxes}, set(sized))
    area = sum(area for _, area in boxes) / sum(sized.values())
    for name, pixels in boxes:
        if pixels > 2000 and abs(pixels / area / sized[name] - 1) > 0.1:
            raise AssertionError(f"the box of {name} has {pixels} pixels for {sized[name]} bytes")


def check_table(page, records):
    symbols = [record for record in records if record["record"] == "symbol"]
    sizes = sorted((symbol["size"] for symbol in symbols), reverse=True)
    check("sizes", [size for _, size in rows(page)], sizes[:100])
    pages = (len(symbols) + 99) // 100
    for _ in range(1, pages):
        page.browser.run("document.getElementById('next').click()")
    check("last page", page.texts("#page"), [f"{pages} of {pages}"])
    check("sizes there", [size for _, size in rows(page)], sizes[100 * (pages - 1):])
    check("no page behind it", page.browser.run("document.getElementById('next').disabled"), True)
    page.browser.run("document.querySelector('#heads .col-size button').click()")
    check("sizes turned", [size for _, size in rows(page)], sizes[::-1][:100])
    page.browser.run("document.querySelector('#heads .col-name button').click()")
    names = [name.lower() for name, _ in rows(page)]
    check("names", names, sorted(names))
    check("sorted column", page.browser.run("document.querySelector('[aria-sort]').textContent"), "Name")
    page.search("FILTER.c mean")
    check("found", rows(page), [["filter_mean", 84]])
    check("count", page.texts("#count"), [f"1 of {len(symbols)} in station.axf: 84 bytes"])
    page.search("")


def check_ways(page, records):
    """In by mouse and by keyboard, out by the crumbs, Escape and the browser's history."""
    text = sum(record["size"] for record in records if record["record"] == "section" and record["name"] == ".text")
    page.browser.run("document.querySelector('.box').click()")
    page.browser.settle()
    check("entered", page.texts("[aria-current]")[0].split()[0], ".text")
    check("inside", page.texts("#count")[0].endswith(f"{text:,} bytes"), True)
    page.shoot(f"inside-{page.browser.run('innerWidth')}")
    page.browser.run("history.back()")
    page.browser.settle()
    check("went back", page.texts("[aria-current]")[0].split()[0], "station.axf")
    page.browser.run("document.querySelector('.box').focus()")
    page.browser.key("ArrowRight")
    check("second box", page.browser.run("document.activeElement.dataset.index"), "1")
    page.browser.key("Enter")
    page.browser.settle()
    check("entered by key", page.texts("[aria-current]")[0].split()[0], ".data")
    check("focus stays in the map", page.browser.run("document.activeElement.className.startsWith('box')"), True)
    page.browser.key("Escape")
    page.browser.settle()
    check("left by key", page.browser.run("document.activeElement.dataset.index"), "1")
    for inside in (".text", "/build/samples/"):
        page.browser.run("document.querySelector('.box').click()")
        page.browser.settle()
        check("on the way in", page.texts("[aria-current]")[0].startswith(inside), True)
    page.browser.run("document.querySelector('.box').focus()")
    for outside in (".text", "station.axf"):
        page.browser.key("Escape")
        page.browser.settle()
        check("one step out", page.texts("[aria-current]")[0].split()[0], outside)
    check("no wider than the window", page.browser.run("document.documentElement.scrollWidth <= innerWidth"), True)


def check_names(page):
    program = str(pathlib.Path(page.folder) / "names.axf")
    write_program(program, NAMES)
    path, _ = page.make(program)
    page.browser.open(path)
    check("strange names", sorted(name for name, _ in rows(page)), sorted(NAMES))
    check("title", page.browser.run("document.title"), "names.axf: sizes")


def check_many(page):
    """50,000 symbols in no unit: drawn, entered, sorted and searched in a few seconds."""
    program = str(pathlib.Path(page.folder) / "many.axf")
    write_program(program, [f"symbol_{i}" for i in range(50_000)])
    path, _ = page.make(program)
    start = time.monotonic()
    page.browser.open(path)
    page.browser.run("document.querySelector('#heads .col-name button').click()")
    page.search("symbol_4999")
    check("found of many", len(rows(page)), 11)
    for boxes in (1, 1, 400, 249):  # the section, no unit, symbols and groups of them, one group
        check("boxes of many", len(page.texts(".box")), boxes)
        if boxes == 400:
            page.shoot("many")
        page.browser.run("[...document.querySelectorAll('.box')].pop().click()")
        page.browser.settle()
    if time.monotonic() - start > 30:
        raise AssertionError(f"{time.monotonic() - start:.1f} s for 50,000 symbols")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("symhost")
    parser.add_argument("samples")
    parser.add_argument("--shots", help="folder for screenshots")
    options = parser.parse_args()
    program = browser.find()
    if program is None:
        print("needs chromium")
        return 77
    with tempfile.TemporaryDirectory() as folder, browser.Browser(program) as page_browser:
        page = Page(page_browser, options.symhost, folder, options.shots)
        path, records = page.make(str(pathlib.Path(options.samples) / "station.axf"))
        for width, height in WINDOWS:
            for dark in (False, True):
                page.browser.resize(width, height, dark)
                page.browser.open(path)
                page.shoot(f"station-{width}{'-dark' if dark else ''}")
            check_sums(page, records)
            check_table(page, records)
            check_ways(page, records)
        check_names(page)
        check_many(page)
        check("complaints of the browser", page.browser.errors, [])
    return 0


if __name__ == "__main__":
    sys.exit(main())
