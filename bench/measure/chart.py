"""Charts as SVG, drawn by hand: bars that are read from left to right, and one line."""

from xml.sax.saxutils import escape

INK = '#24292f'
FAINT = '#6e7781'
OURS = '#2a7f9e'
OTHERS = '#b6bec6'
BAD = '#c4513b'
WIDTH = 760
LABELS = 180  # where the bars begin
LONG_LABELS = 440
BAR, STEP = 16, 24
VALUES = 90  # room for the text behind the longest bar


class Drawing:
    def __init__(self, labels=LABELS):
        self.labels = labels
        self.parts = []
        self.height = 16

    def text(self, x, y, words, colour=INK, anchor='start', size=13, weight='normal'):
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" fill="{colour}" font-size="{size}" font-weight="{weight}" '
                          f'text-anchor="{anchor}">{escape(words)}</text>')

    def box(self, x, y, width, height, colour):
        self.parts.append(f'<rect x="{x:.1f}" y="{y:.1f}" width="{width:.1f}" height="{height}" rx="2" fill="{colour}"/>')

    def line(self, points, colour, width):
        path = ' '.join(f'{x:.1f},{y:.1f}' for x, y in points)
        self.parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="{width}"/>')

    def heading(self, words):
        self.height += 12
        self.text(16, self.height, words, size=15, weight='600')
        self.height += 14

    def bars(self, bars, mark=None):
        """bars: (label, value, text, colour). `mark`: where a line stands across them."""
        longest = max([value for _, value, _, _ in bars] + [mark or 0]) or 1
        scale = (WIDTH - self.labels - VALUES) / longest
        line = self.labels + (mark or 0) * scale
        top = self.height
        for label, value, text, colour in bars:
            end = self.labels + max(value * scale, 1)
            self.text(self.labels - 8, self.height + BAR - 3, label, anchor='end', size=12)
            self.box(self.labels, self.height, end - self.labels, BAR, colour)
            self.text(max(end, line) + 6, self.height + BAR - 3, text, colour=FAINT, size=12)
            self.height += STEP
        if mark:
            self.line([(line, top - 4), (line, self.height - STEP + BAR + 4)], INK, 1)
        self.height += 12

    def curve(self, points, unit):
        """points: (x, y), drawn from zero up."""
        height, left, right = 160, 70, WIDTH - 30
        most_x, most_y = (max(values) for values in zip(*points))
        base = self.height + height
        place = [(left + (right - left) * x / most_x, base - height * 0.9 * y / most_y) for x, y in points]
        self.line([(left, base), (right, base)], FAINT, 1)
        self.line(place, OURS, 2)
        for (x, y), (jobs, value) in ((place[0], points[0]), (place[-1], points[-1])):
            self.text(x, y - 8, f'{value:.0f} {unit}', anchor='middle', size=12)
            self.text(x, base + 18, str(jobs), colour=FAINT, anchor='middle', size=12)
        self.height = base + 30

    def save(self, path, title):
        height = self.height + 4
        path.write_text(
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" viewBox="0 0 {WIDTH} {height}" '
            f'font-family="sans-serif" role="img"><title>{escape(title)}</title>\n'
            f'<rect width="100%" height="100%" fill="#fff"/>\n' + '\n'.join(self.parts) + '\n</svg>\n')


def panels(path, title, figures, unit):
    """figures: {heading: {label: value}}. Ours are the labels that begin with the product's name."""
    drawing = Drawing()
    for heading, values in figures.items():
        drawing.heading(heading)
        drawing.bars([(label, value, f'{value:,.{0 if value >= 20 else 1}f} {unit}',
                       OURS if label.startswith('Quirelle') else OTHERS)
                      for label, value in sorted(values.items(), key=lambda item: item[1])])
    drawing.save(path, title)


def rows_against_bounds(path, rows):
    drawing = Drawing(LONG_LABELS)
    drawing.heading('Each row in parts of its bound (the line)')
    drawing.bars([(row.name, row.value / row.bound, row.measured, OURS if row.met else BAD)
                  for row in rows if row.value is not None], mark=1)
    drawing.save(path, 'Rows against their bounds')


def memory_curve(path, points):
    drawing = Drawing()
    drawing.heading('Memory of server and browser by the number of jobs')
    drawing.curve([(jobs, kilobytes / 1024) for jobs, kilobytes in points], 'MiB')
    drawing.save(path, 'Memory by jobs')
