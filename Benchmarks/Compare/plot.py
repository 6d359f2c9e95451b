"""The results as a picture (SVG), readable on light and dark pages."""

from xml.sax.saxutils import escape

from metrics import CANDIDATES, METRICS

MARKS = 'Bars are medians, lines reach from the least to the most; !: never without other work.'
SHOWN = ['cpu', 'pss_streaming', 'delay_p95', 'first_audio', 'start_to_tray', 'later_click']
COLUMNS = 2
WIDTH = 474
LABELS = 200
FIGURES = 64
ROW = 20
HEAD = 34
GAP = 24
BAR = 12

# Plain rules, and the dark ones behind them: not every reader of pictures knows variables.
STYLE = '''
  text { font: 12px system-ui, sans-serif; }
  .title { fill: #1f2328; font-weight: 600; } .name { fill: #1f2328; } .figure { fill: #59636e; }
  .page { fill: #ffffff; } .ours { fill: #1a7f5a; } .peer { fill: #8c959f; }
  .spread { stroke: #1f2328; }
  @media (prefers-color-scheme: dark) {
    .title, .name { fill: #f0f6fc; } .figure { fill: #9198a1; }
    .page { fill: #0d1117; } .ours { fill: #3fb98a; } .peer { fill: #6e7681; }
    .spread { stroke: #f0f6fc; }
  }
'''


def panel(metric, rows, left, top):
    """A bar from nothing to each candidate's median, with a line from the least to the most."""
    shown = [(candidate, rows[candidate.key]) for candidate in CANDIDATES if candidate.key in rows]
    most = max((row.most for _, row in shown), default=0) or 1
    scale = (WIDTH - LABELS - FIGURES) / most
    zero = left + LABELS
    text = [f'<text class="title" x="{left}" y="{top + 14}">'
            f'{escape(metric.title)}, {escape(metric.unit)}</text>']
    for index, (candidate, row) in enumerate(shown):
        y = top + HEAD + index * ROW
        middle = y - 4
        kind = 'ours' if candidate.name.startswith('ours') else 'peer'
        mark = ' !' if row.is_noisy else ''
        text += [
            f'<text class="name" x="{zero - 8}" y="{y}" text-anchor="end">'
            f'{escape(candidate.name)}</text>',
            f'<rect class="{kind}" x="{zero}" y="{middle - BAR / 2:g}" '
            f'width="{max(row.median * scale, 1):.1f}" height="{BAR}" rx="2"/>',
            f'<path class="spread" d="M{zero + row.least * scale:.1f} {middle}'
            f'H{zero + row.most * scale:.1f}"/>',
            f'<text class="figure" x="{zero + row.most * scale + 6:.1f}" y="{y}">'
            f'{row.median:.{metric.decimals}f}{mark}</text>',
        ]
    return text


def draw(results, caption):
    """The picture's text; the caption says what the figures depend on."""
    metrics = [metric for key in SHOWN for metric in METRICS
               if metric.key == key and results.rows.get(key)]
    text = []
    top = GAP
    for start in range(0, len(metrics), COLUMNS):
        line = metrics[start:start + COLUMNS]
        for column, metric in enumerate(line):
            text += panel(metric, results.rows[metric.key], GAP + column * (WIDTH + GAP), top)
        top += HEAD + ROW * max(len(results.rows[metric.key]) for metric in line) + GAP
    text.append(f'<text class="figure" x="{GAP}" y="{top}">{escape(caption)}</text>')
    top += GAP
    width = GAP + COLUMNS * (WIDTH + GAP)
    return '\n'.join([
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{top}" '
        f'viewBox="0 0 {width} {top}" role="img">',
        '<title>The program beside what could be used instead</title>',
        f'<style>{STYLE}</style>',
        f'<rect class="page" width="{width}" height="{top}"/>',
        *text, '</svg>', ''])
