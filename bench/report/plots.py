"""Draws the plots of docs/performance.md as SVG, with nothing but the standard library. Same figures, same file."""
import math
from xml.sax.saxutils import escape

COLOURS = ("#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9", "#8c564b", "#6a3d9a", "#999999", "#333333",
           "#dddddd", "#f0e442")
OTHERS = "#999999"
FONT = "font-family='DejaVu Sans, Verdana, sans-serif'"
SIZE = 14  # of the letters


class Drawing:
    def __init__(self, width, height, title):
        self.width, self.height = width, height
        self.parts = [f"<rect width='{width}' height='{height}' fill='white'/>"]
        self.text(20, 30, title, size=SIZE + 3, weight="bold")

    def text(self, x, y, words, anchor="start", size=SIZE, weight="normal", colour="#222222"):
        self.parts.append(f"<text x='{x:.1f}' y='{y:.1f}' {FONT} font-size='{size}' font-weight='{weight}' "
                          f"text-anchor='{anchor}' fill='{colour}'>{escape(words)}</text>")

    def line(self, x1, y1, x2, y2, colour="#cccccc", width=1):
        self.parts.append(f"<line x1='{x1:.1f}' y1='{y1:.1f}' x2='{x2:.1f}' y2='{y2:.1f}' stroke='{colour}' "
                          f"stroke-width='{width}'/>")

    def path(self, points, colour, dashed=False):
        places = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
        dashes = " stroke-dasharray='6 5'" if dashed else ""
        self.parts.append(f"<polyline points='{places}' fill='none' stroke='{colour}' stroke-width='2.5'{dashes}/>")

    def box(self, x, y, width, height, colour):
        self.parts.append(f"<rect x='{x:.1f}' y='{y:.1f}' width='{max(width, 0.5):.1f}' height='{height:.1f}' "
                          f"fill='{colour}'/>")

    def svg(self):
        body = "\n".join(self.parts)
        return (f"<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 {self.width} {self.height}' "
                f"width='{self.width}' height='{self.height}'>\n{body}\n</svg>\n")


def in_words(seconds):
    for unit, factor in (("s", 1), ("ms", 1e3), ("us", 1e6), ("ns", 1e9)):
        if seconds * factor >= 1 or unit == "ns":
            return f"{seconds * factor:.3g} {unit}"


def decades(least, most):
    return [10.0 ** power for power in range(math.floor(math.log10(least)), math.ceil(math.log10(most)) + 1)]


def growth(title, lines):
    """`lines`: name to two lists of (entries, seconds an entry), the plug-in's and the limit's."""
    drawing = Drawing(860, 480, title)
    left, right, top, bottom = 90, 660, 60, 420
    figures = [seconds for both in lines.values() for line in both for _, seconds in line]
    entries = [count for both in lines.values() for line in both for count, _ in line]
    ticks = decades(min(figures), max(figures))

    def place(count, seconds):
        x = left + (right - left) * math.log(count / min(entries)) / math.log(max(entries) / min(entries))
        y = bottom - (bottom - top) * math.log(seconds / ticks[0]) / math.log(ticks[-1] / ticks[0])
        return x, y

    for tick in ticks:
        y = place(min(entries), tick)[1]
        drawing.line(left, y, right, y)
        drawing.text(left - 8, y + 5, in_words(tick), anchor="end")
    for count in sorted(set(entries)):
        x = place(count, ticks[0])[0]
        drawing.line(x, top, x, bottom)
        drawing.text(x, bottom + 22, f"{count:,}", anchor="middle")
    drawing.text((left + right) / 2, bottom + 46, "entries in the answer", anchor="middle")
    for number, (name, (plug_in, limit)) in enumerate(lines.items()):
        drawing.path([place(*point) for point in plug_in], COLOURS[number])
        drawing.path([place(*point) for point in limit], COLOURS[number], dashed=True)
        drawing.box(right + 20, top + 26 * number, 16, 16, COLOURS[number])
        drawing.text(right + 44, top + 13 + 26 * number, name)
    drawing.text(right + 20, bottom - 22, "solid: plug-in")
    drawing.text(right + 20, bottom, "dashed: calls alone")
    return drawing.svg()


def bars(title, groups):
    """`groups`: heading to a list of (name, seconds), the first of which stands out. Each group has its own scale."""
    rows = sum(len(group) + 1 for group in groups.values())
    drawing = Drawing(860, 80 + 28 * rows, title)
    left, right = 240, 740
    y = 58
    for heading, group in groups.items():
        most = max(seconds for _, seconds in group)
        drawing.text(20, y + 14, heading, weight="bold")
        y += 28
        for number, (name, seconds) in enumerate(group):
            length = (right - left) * seconds / most
            drawing.text(left - 10, y + 15, name, anchor="end")
            drawing.box(left, y, length, 20, COLOURS[0] if number == 0 else OTHERS)
            drawing.text(left + length + 8, y + 15, in_words(seconds))
            y += 28
    drawing.text(right, y + 12, "processor time, less is better", anchor="end", size=SIZE - 2)
    return drawing.svg()


def stacked(title, rows):
    """`rows`: name to a list of (part, seconds) whose parts have the same order everywhere."""
    drawing = Drawing(860, 150 + 52 * len(rows), title)
    left, right = 150, 740
    colours = {}
    for row, (name, parts) in enumerate(rows.items()):
        total = sum(seconds for _, seconds in parts)
        x, y = left, 60 + 52 * row
        drawing.text(left - 10, y + 21, name, anchor="end")
        for part, seconds in parts:
            colour = colours.setdefault(part, COLOURS[len(colours) % len(COLOURS)])
            width = (right - left) * seconds / total
            if width >= 1:
                drawing.box(x, y, width, 32, colour)
            if width >= 34:
                drawing.text(x + width / 2, y + 21, f"{seconds / total:.0%}", anchor="middle", size=SIZE - 2,
                             colour="white")
            x += width
        drawing.text(right + 10, y + 21, in_words(total))
    x, y = 20, 84 + 52 * len(rows)
    for part, colour in colours.items():
        width = 34 + 8.5 * len(part)
        if x + width > drawing.width - 20:
            x, y = 20, y + 26
        drawing.box(x, y - 13, 16, 16, colour)
        drawing.text(x + 22, y, part)
        x += width + 12
    return drawing.svg()
