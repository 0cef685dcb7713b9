#!/usr/bin/env python3
"""Loads a JSON Lines and a long CSV export with the readers these formats
are for: python3's json and csv modules, sqlite3's CSV import and pandas.

    line_formats_readers.py <JSON Lines file> <long CSV file> <items> <rows>

Prints "ok" when every reader takes the whole output as it should.
"""
import csv, json, subprocess, sys
import pandas
lines_path, csv_path, items, rows = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])

def refuse(name):
    raise ValueError('not JSON: ' + name)

text = open(lines_path, 'rb').read().decode('utf-8')
assert text.endswith('\n'), 'last line without a line feed'
objects = [json.loads(line, parse_constant=refuse) for line in text[:-1].split('\n')]
assert len(objects) == items, (len(objects), items)
assert all(isinstance(o, dict) and 'ts' in o for o in objects)

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
print('ok')
