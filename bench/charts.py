"""Line charts as SVG."""

import math

WIDTH, HEIGHT = 720, 420
LEFT, RIGHT, TOP, BOTTOM = 80, 140, 50, 60
COLOURS = ("#b3541e", "#1f6f8b", "#5b7f2b", "#7a4a86")


def _linear_ticks(most):
    """Five steps or so that are 1, 2 or 5 times a power of ten."""
    rough = most / 5
    power = 10 ** math.floor(math.log10(rough))
    step = next(power * factor for factor in (1, 2, 5, 10) if power * factor >= rough)
    return [step * n for n in range(math.ceil(most / step - 1e-9) + 1)]


def _logarithmic_ticks(least, most):
    low, high = math.floor(math.log10(least)), math.ceil(math.log10(most))
    return [10**exponent for exponent in range(low, max(high, low + 1) + 1)]


def _shown(value):
    return f"{value:,.0f}" if value >= 1 else f"{value:g}"


class _Axis:
    def __init__(self, values, start, end, logarithmic):
        self.logarithmic = logarithmic
        most = max(values)
        self.ticks = _logarithmic_ticks(min(values), most) if logarithmic else _linear_ticks(most)
        self.start, self.end = start, end

    def at(self, value):
        low, high = self.ticks[0], self.ticks[-1]
        if self.logarithmic:
            low, high, value = math.log10(low), math.log10(high), math.log10(value)
        return self.start + (value - low) / (high - low) * (self.end - self.start)


def _text(x, y, text, anchor="middle", extra=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" {extra}>{text}</text>'


def _grid(horizontal, vertical):
    parts = []
    for tick in horizontal.ticks:
        x = horizontal.at(tick)
        parts.append(f'<line x1="{x:.1f}" y1="{TOP}" x2="{x:.1f}" y2="{HEIGHT - BOTTOM}" stroke="#ddd"/>')
        parts.append(_text(x, HEIGHT - BOTTOM + 18, _shown(tick)))
    for tick in vertical.ticks:
        y = vertical.at(tick)
        parts.append(f'<line x1="{LEFT}" y1="{y:.1f}" x2="{WIDTH - RIGHT}" y2="{y:.1f}" stroke="#ddd"/>')
        parts.append(_text(LEFT - 8, y + 4, _shown(tick), "end"))
    return parts


def _line(points, colour):
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
    dots = [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3.5" fill="{colour}"/>' for x, y in points]
    return [f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>', *dots]


def line_chart(title, x_label, y_label, series, logarithmic):
    """A picture of named lines of (x, y). The axes start at 0 or, when asked, are both logarithmic."""
    xs = [x for _, points in series for x, _ in points]
    ys = [y for _, points in series for _, y in points]
    horizontal = _Axis(xs, LEFT, WIDTH - RIGHT, logarithmic)
    vertical = _Axis(ys, HEIGHT - BOTTOM, TOP, logarithmic)
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
        f'width="{WIDTH}" height="{HEIGHT}" font-family="sans-serif" font-size="13" fill="#222">',
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
        _text(LEFT, 28, title, "start", 'font-size="16" font-weight="bold"'),
        *_grid(horizontal, vertical),
    ]
    for (name, points), colour in zip(series, COLOURS):
        placed = [(horizontal.at(x), vertical.at(y)) for x, y in points]
        parts += _line(placed, colour)
        parts.append(_text(placed[-1][0] + 12, placed[-1][1] + 4, name, "start", f'style="fill:{colour}"'))
    scale = ", both axes logarithmic" if logarithmic else ""
    parts.append(_text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 14, x_label + scale))
    middle = (TOP + HEIGHT - BOTTOM) / 2
    parts.append(_text(20, middle, y_label, "middle", f'transform="rotate(-90 20 {middle:.1f})"'))
    return "\n".join([*parts, "</svg>", ""])
