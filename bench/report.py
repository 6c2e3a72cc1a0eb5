"""Turns measurements into a report: Markdown, JSON, and a chart for each table."""

import html
import json
import statistics


class Row:
    """What was measured of one way to do something, a value for each round."""

    def __init__(self, name, values):
        self.name = name
        self.values = values

    def median(self):
        return statistics.median(self.values)

    def ratio(self, reference):
        """To another row, round by round: the median and the middle half."""
        ratios = [mine / other for mine, other in zip(self.values, reference.values)]
        if len(ratios) == 1:
            return ratios[0], ratios[0], ratios[0]
        low, middle, high = statistics.quantiles(ratios, n=4, method="inclusive")
        return middle, low, high


class Table:
    """Ways to do the same, compared with the first one, which is the limit."""

    def __init__(self, name, title, unit, rows):
        self.name = name
        self.title = title
        self.unit = unit
        self.rows = rows

    def row(self, name):
        return next(row for row in self.rows if row.name == name)

    def markdown(self):
        reference = self.rows[0]
        lines = [f"### {self.title}", "", f"| | {self.unit} | × {reference.name} (middle half) |",
                 "|---|---|---|"]
        for row in self.rows:
            middle, low, high = row.ratio(reference)
            lines.append(f"| {row.name} | {number(row.median())} | "
                         f"{number(middle)} ({number(low)} to {number(high)}) |")
        return "\n".join([*lines, "", f"![{self.title}]({self.name}.svg)", ""])

    def svg(self):
        """Bars of the ratios, with a whisker over the middle half."""
        reference = self.rows[0]
        ratios = [row.ratio(reference) for row in self.rows]
        left, width, height = 190, 420, 24
        scale = width / max(high for _, _, high in ratios)
        parts = []
        for index, (row, (middle, low, high)) in enumerate(zip(self.rows, ratios)):
            y = 40 + index * height
            colour = "#1f6fb4" if row.name.startswith("audvik") else "#9aa5b1"
            parts += [
                f'<text x="{left - 8}" y="{y + 13}" text-anchor="end">{html.escape(row.name)}</text>',
                f'<rect x="{left}" y="{y}" width="{middle * scale:.1f}" height="17" '
                f'fill="{colour}"/>',
                f'<path d="M{left + low * scale:.1f} {y + 8.5}H{left + high * scale:.1f}" '
                'stroke="#222"/>',
                f'<text x="{left + high * scale + 6:.1f}" y="{y + 13}">{number(middle)} ×, '
                f'{number(row.median())} {self.unit}</text>']
        full = left + width + 150
        return "\n".join([
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{full}" '
            f'height="{52 + height * len(self.rows)}" '
            'font-family="sans-serif" font-size="12" fill="#222">',
            '<rect width="100%" height="100%" fill="#fff"/>',
            f'<text x="12" y="22" font-size="14">{html.escape(self.title)}</text>',
            *parts, "</svg>", ""])

    def json(self):
        return {"title": self.title, "unit": self.unit,
                "rows": {row.name: row.values for row in self.rows}}


class Aim:
    """A figure and what it may be at most."""

    def __init__(self, title, figure, limit):
        self.title = title
        self.figure = figure
        self.limit = limit

    def markdown(self):
        verdict = "yes" if self.figure <= self.limit else "**no**"
        return f"| {self.title} | {number(self.figure)} | {number(self.limit)} | {verdict} |"


def number(value):
    """Three figures that mean something."""
    if abs(value) >= 100:
        return f"{value:.0f}"
    return f"{value:.3g}"


def write(folder, heading, tables, counts, aims):
    """@param counts  by operation, by kind, by process"""
    folder.mkdir(parents=True, exist_ok=True)
    lines = [heading, "", "## Aims", "", "| | now | at most | reached |", "|---|---|---|---|",
             *(aim.markdown() for aim in aims), "", "## Counts", "",
             "| an operation's | " + " | ".join(counts) + " |", "|---|" + "---|" * len(counts)]
    kinds = {(kind, side): None for operation in counts.values() for kind, sides in
             operation.items() for side in sides}
    for kind, side in kinds:
        cells = [number(operation[kind][side]) if side in operation.get(kind, {}) else ""
                 for operation in counts.values()]
        lines.append(f"| {kind}, {side} | " + " | ".join(cells) + " |")
    lines += ["", "## Times", "", *(table.markdown() for table in tables)]
    (folder / "report.md").write_text("\n".join(lines))
    (folder / "report.json").write_text(json.dumps(
        {"tables": {table.name: table.json() for table in tables}, "counts": counts,
         "aims": [vars(aim) for aim in aims]}, indent=1) + "\n")
    for table in tables:
        (folder / f"{table.name}.svg").write_text(table.svg())
