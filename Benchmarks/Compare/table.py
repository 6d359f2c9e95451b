"""The results as a table for people."""

from goals import GOALS
from metrics import CANDIDATES, METRICS


def rounds_text(row):
    quiet = len(row.quiet)
    if row.noisy_rounds == 0:
        return str(quiet)
    if quiet == 0:
        return f'{row.noisy_rounds} noisy !'
    return f'{quiet} + {row.noisy_rounds} noisy'


def ratio_text(row, first):
    return f'{row.median / first.median:.2f} x' if first.median > 0 else ''


def goal_texts(metric, candidate, results):
    return [f'{goal.text}: {goal.outcome(results)}' for goal in GOALS
            if (goal.metric, goal.candidate) == (metric.key, candidate.key)]


def lines(results):
    """The table's lines. A metric's ratios are against its first row. Median and spread are of the
    quiet rounds; "!" marks a row that has none."""
    text = []
    for metric in METRICS:
        rows = results.rows.get(metric.key)
        if not rows:
            continue
        text += ['', f'{metric.title}, {metric.unit}']
        first = None
        for candidate in CANDIDATES:
            row = rows.get(candidate.key)
            if row is None:
                continue
            first = first or row
            number = f'.{metric.decimals}f'
            spread = f'{row.least:{number}} to {row.most:{number}}'
            line = (f'  {candidate.name:<31} {row.median:>9{number}}  {spread:<20} '
                    f'{rounds_text(row):<12} {ratio_text(row, first):>9}')
            goals = goal_texts(metric, candidate, results)
            text.append((line + '  ' + '; '.join(goals)).rstrip())
    text += absence_lines(results)
    return text


def absence_lines(results):
    text = []
    for candidate in CANDIDATES:
        reasons = results.absent.get(candidate.key)
        if not reasons:
            continue
        measured = any(candidate.key in rows for rows in results.rows.values())
        what = f'{len(reasons)} time(s) not measured' if measured else 'not measured'
        text.append(f'  {candidate.name:<31} {what}: {reasons[0]}')
    return ['', 'Without figures:'] + text if text else []
