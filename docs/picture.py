#!/usr/bin/env python3
"""Draws docs/tour.svg from what the tour prints: a terminal that is complete at first, and then shows its lines one by
one, all of them every twenty seconds.

  tests/lab/lab run --hosts 2 -- bash examples/tour.sh "$PWD/build/release/bin" | docs/picture.py > docs/tour.svg

A viewer that does not animate shows all lines.
"""
import html
import sys

# The sections that show what the runtime is; the tour itself has more.
SHOWN = ["A service is found by its name", "Three ways to call", "The service goes away and comes back",
         "One member of each kind"]
CYCLE, PAUSE_AT_END = 20, 7  # seconds
SIZE, ROW, LEFT, TOP = 13, 19, 18, 58


def chosen(text):
    """The first line, and the sections: a title follows an empty line and is not indented."""
    intro, shown, after_empty = True, False, False
    for line in text.splitlines():
        if after_empty and line and not line.startswith(" "):
            intro, shown = False, line in SHOWN
            if shown:
                yield ""
        if line and (shown or intro and not line.startswith(" ")):
            yield line
        after_empty = not line


def style(line):
    if line.startswith("  service |"):
        return "service"
    return "step" if line.startswith(" ") else "title"


def draw(lines):
    # A character of the usual monospaced fonts is 0.602 of its size wide.
    width = round(max(map(len, lines)) * SIZE * 0.602) + 2 * LEFT
    height = TOP + len(lines) * ROW + 6
    step = 100 * (1 - PAUSE_AT_END / CYCLE) / len(lines)  # in per cent of the cycle
    appearances = "\n".join(
        f"  #l{row} {{ animation: l{row} {CYCLE}s -{CYCLE - PAUSE_AT_END}s step-end infinite }} "
        f"@keyframes l{row} {{ 0% {{ opacity: 0 }} {row * step:.1f}% {{ opacity: 1 }} }}"
        for row in range(1, len(lines)) if lines[row])
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}" '
           'role="img" aria-label="A tour of Vorn35 in a terminal">')
    yield f"""<style>
text {{ font: {SIZE}px ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace; white-space: pre; fill: #c9d1d9 }}
.title {{ fill: #79c0ff; font-weight: bold }} .service {{ fill: #d2a8ff }} .ok {{ fill: #7ee787 }} .prompt {{ fill: #8b949e }}
@media (prefers-reduced-motion: no-preference) {{
{appearances}
}}
</style>
<rect width="{width}" height="{height}" rx="8" fill="#0d1117"/>
<circle cx="20" cy="17" r="5" fill="#ff5f56"/><circle cx="38" cy="17" r="5" fill="#ffbd2e"/>
<circle cx="56" cy="17" r="5" fill="#27c93f"/>
<text x="{LEFT}" y="{TOP - ROW + 5}"><tspan class="prompt">$</tspan> ./dev run</text>"""
    for row, line in enumerate(lines):
        if not line:
            continue
        ok = line.endswith("  ok")
        text = html.escape(line[:-2] if ok else line) + ('<tspan class="ok">ok</tspan>' if ok else "")
        yield (f'<text id="l{row}" class="{style(line)}" x="{LEFT}" y="{TOP + row * ROW + 5}" '
               f'xml:space="preserve">{text}</text>')
    yield "</svg>"


print("\n".join(draw(list(chosen(sys.stdin.read())))))
