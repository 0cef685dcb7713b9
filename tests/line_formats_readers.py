#!/usr/bin/env python3
"""Loads a JSON Lines and a long CSV export with the readers these formats
are for: python3's json and csv modules, sqlite3's CSV import and pandas.

    line_formats_readers.py (<JSON Lines file> <long CSV file> <items>)...

Prints "ok" when every reader takes the whole output as it should: one JSON
object per item, and a CSV row per value (one for an item without values).
"""
import csv, json, subprocess, sys
import pandas

def refuse(name):
    raise ValueError('not JSON: ' + name)

def check(lines_path, csv_path, items):
    text = open(lines_path, 'rb').read().decode('utf-8')
    assert text.endswith('\n') or not text, 'last line without a line feed'
    objects = [json.loads(line, parse_constant=refuse) for line in text.split('\n')[:-1]]
    assert len(objects) == items, (len(objects), items)
    assert all(isinstance(o, dict) and 'ts' in o for o in objects)
    rows = sum(max(1, len(o.get('values', []))) for o in objects)

    with open(csv_path, newline='', encoding='utf-8') as f:
        table = list(csv.reader(f, strict=True))
    assert table[0] == ['ts', 'id', 'class', 'type', 'level', 'index', 'value', 'text'], table[0]
    assert len(table) - 1 == rows, (len(table) - 1, rows)
    assert all(len(row) == 8 for row in table)

    count = subprocess.run(['sqlite3', ':memory:', '.import --csv %s t' % csv_path,
                            'SELECT count(*) FROM t;'], capture_output=True, text=True, check=True)
    assert count.stdout == '%d\n' % rows and count.stderr == '', (count.stdout, count.stderr)

    # The value column as numbers, each the real the text stands for.
    frame = pandas.read_csv(csv_path, dtype={'value': 'float64'}, float_precision='round_trip')
    assert len(frame) == rows, (len(frame), rows)
    texts = [row[6] for row in table[1:]]
    for text, value in zip(texts, frame['value']):
        expected = float(text) if text else float('nan')
        assert value == expected or value != value and expected != expected, (text, value)

args = sys.argv[1:]
for at in range(0, len(args), 3):
    try:
        check(args[at], args[at + 1], int(args[at + 2]))
    except (AssertionError, ValueError) as error:
        sys.exit('%s: %r' % (args[at], error))
print('ok')
