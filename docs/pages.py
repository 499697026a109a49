#!/usr/bin/env python3
"""The pages as one site, for `./dev docs`.

  pages.py check          every relative link of every page leads to a file, and to a heading of it
  pages.py check FOLDER   every local link of the HTML in the folder leads to a file, and to an anchor in it
  pages.py filter PAGE    the page as Doxygen needs it: links as references, headings with labels

The pages are written for code hosts, whose links name files and headings. Doxygen 1.9 knows neither the headings of
other pages nor files that are no input; a link to such a file becomes its text.
"""
import html.parser
import pathlib
import re
import sys
import urllib.parse

root = pathlib.Path(__file__).resolve().parent.parent
pages = sorted([*root.glob("*.md"), *root.glob("docs/**/*.md")])

# Odd elements of a split are code: fenced blocks, then spans.
fence = re.compile(r"^( *```.*?^ *```$)", re.MULTILINE | re.DOTALL)
span = re.compile(r"(`[^`]+`)")
link = re.compile(r"(!?)\[([^\]]*)\]\(([^)\s]+)\)")
heading = re.compile(r"^(#+) (.*)$", re.MULTILINE)


def slugs(page):
    """Anchors of the headings, as code hosts make them."""
    seen = []
    for part in fence.split(page.read_text())[::2]:
        for _, text in heading.findall(part):
            seen.append(slug(text, seen))
    return seen


def slug(text, seen):
    """The first of equal headings has no number."""
    base = re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")
    return next(name for n in range(len(seen) + 1) if (name := f"{base}-{n}" if n else base) not in seen)


def label(page, anchor=""):
    """Unique in the site: it is the name of a file there. "index" is the main page's."""
    name = "-".join(page.relative_to(root).with_suffix("").parts).removeprefix("docs-").lower()
    name = {"index": "contents"}.get(name, name)
    return f"{name}-{anchor}" if anchor else name


def target(page, to):
    """File and anchor that a link names; no file for other places."""
    if re.match(r"[a-z]+:", to):
        return None, ""
    path, _, anchor = to.partition("#")
    return ((page.parent / path).resolve() if path else page), anchor


def check_pages():
    for page in pages:
        for part in fence.split(page.read_text())[::2]:
            for prose in span.split(part)[::2]:
                for _, _, to in link.findall(prose):
                    file, anchor = target(page, to)
                    if file and (not file.exists() or anchor and anchor not in slugs(file)):
                        yield f"{page.relative_to(root)}: broken link {to}"


def check_site(folder):
    class Links(html.parser.HTMLParser):
        def __init__(self, file):
            super().__init__()
            self.links, self.anchors = [], set()
            self.feed(file.read_text())

        def handle_starttag(self, _tag, attributes):
            for key, value in attributes:
                if key in ("id", "name"):
                    self.anchors.add(value)
                elif key in ("href", "src", "data") and value and not re.match(r"[a-z]+:", value):
                    self.links.append(urllib.parse.unquote(value))

    files = {file.resolve(): Links(file) for file in folder.glob("**/*.html")}
    for file, content in files.items():
        for to in content.links:
            path, _, anchor = to.partition("#")
            found = (file.parent / path).resolve() if path else file
            if not found.exists() or anchor and found in files and anchor not in files[found].anchors:
                yield f"{file.name}: broken link {to}"


def filtered(page):
    def reference(match):
        image, text, to = match.groups()
        text = " ".join(text.split())  # in quotes, it must not break
        file, anchor = target(page, to)
        if file is None:
            return match.group()
        if image:
            return f"![{text}]({file.name})"
        if file.suffix == ".h" and "export" in file.parts:
            return f'@ref {file.name} "{text}"'
        if file not in pages:
            return text
        # The links of the contents make the tree at the side.
        below = page.stem == "index" and file != page and not anchor and file.stem != "README"
        below = below or file.parent.name == page.stem
        return f'@{"subpage" if below else "ref"} {label(file, anchor)} "{text}"'

    seen = []

    def labelled(match):
        title = not seen
        seen.append(slug(match[2], seen))
        return f'{match.group()} {{#{label(page, "" if title else seen[-1])}}}'

    parts = fence.split(page.read_text())
    for i in range(0, len(parts), 2):
        # A link's text may hold code; what holds a link is never code.
        parts[i] = heading.sub(labelled, parts[i])
        parts[i] = link.sub(reference, parts[i])
    return "".join(parts)


if sys.argv[1] == "filter":
    sys.stdout.write(filtered(pathlib.Path(sys.argv[2]).resolve()))
else:
    broken = list(check_site(pathlib.Path(sys.argv[2])) if sys.argv[2:] else check_pages())
    print("\n".join(broken), end="\n" if broken else "")
    sys.exit(bool(broken))
