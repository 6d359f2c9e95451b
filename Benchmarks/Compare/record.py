"""The results for programs."""

import json

from goals import GOALS
from machine import CRITERION
from metrics import METRICS, NAMES


def as_document(results, machine, rounds, seconds):
    return {
        'machine': machine,
        'rounds': rounds,
        'seconds_per_stream': seconds,
        'noise': CRITERION,
        'candidates': NAMES,
        'metrics': {metric.key: {
            'title': metric.title,
            'unit': metric.unit,
            'rows': {key: {
                'median': row.median,
                'least': row.least,
                'most': row.most,
                'values': [value.number for value in row.values],
                'noisy': [value.noisy for value in row.values],
            } for key, row in results.rows[metric.key].items()},
        } for metric in METRICS if metric.key in results.rows},
        'goals': [{
            'metric': goal.metric,
            'candidate': goal.candidate,
            'peer': goal.peer,
            'goal': goal.text,
            'reached': goal.judge(results),
            'met': goal.is_met(results),
        } for goal in GOALS],
        'not_measured': results.absent,
    }


def write(path, document):
    with open(path, 'w', encoding='utf-8') as file:
        json.dump(document, file, indent=2)
        file.write('\n')
