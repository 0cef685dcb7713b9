#!/usr/bin/env python3
"""Checks the exports of a batch of generated archives, several at a time.

    property_check.py <QorArc> <manifest>

Each manifest line: the folder of the archive, the number of items written
to it, the "-ic" value and the two time bounds as "day:microseconds" (empty
when not given). Prints the first failures, then "checked <n> archives".
"""
import concurrent.futures, datetime, json, os, subprocess, sys

program, manifest = sys.argv[1], sys.argv[2]
NOT_FOUND = ("Archive 'plant' not found in '%s' for the timespan specified. Try parameter "
             "'--scan' to find available archives and their timespans.\n")

def texts(bound):
    """The -ft1/-ft2 text of a bound and its "ts" form."""
    if not bound:
        return None, None
    day, us = map(int, bound.split(':'))
    at = datetime.datetime(2000, 1, 1) + datetime.timedelta(days=day, microseconds=us)
    text = at.strftime('%Y-%m-%d %H:%M:%S.%f')
    return text, text.replace(' ', 'T') + 'Z'

def check(line):
    folder, items, limit, b1, b2 = line.rstrip('\n').split('\t')
    items, limit = int(items), int(limit)
    (o1, t1), (o2, t2) = texts(b1), texts(b2)
    arc = folder + '/arc'
    runs = {'compact': [], 'pretty': ['-p'], 'csv': ['--csv'],
            'limited': ['-ic', str(limit), '-itc'],
            'timed': (['-ft1', o1] if o1 else []) + (['-ft2', o2] if o2 else [])}
    out = {}
    def export(args, threads):
        env = dict(os.environ, QORARC_THREADS=threads, QORARC_BATCH_ITEMS='3')
        return subprocess.run([program, '-i', arc] + args + ['plant'], env=env,
                              stdin=subprocess.DEVNULL, capture_output=True)
    verbose = ['-ve', '-p', '-ic', str(limit), '-itc'] + runs['timed']
    one, three = export(verbose, '1'), export(verbose, '3')
    if (one.stdout, one.stderr, one.returncode) != (three.stdout, three.stderr, three.returncode):
        return ['%s: the verbose export differs with three threads' % folder]
    for name, args in runs.items():
        run, threaded = export(args, '1'), export(args, '3')
        if (run.stdout, run.stderr, run.returncode) != (
                threaded.stdout, threaded.stderr, threaded.returncode):
            return ['%s %s: differs with three threads' % (folder, name)]
        # Texts are byte strings of any encoding; latin-1 keeps every byte.
        out[name], err = run.stdout.decode('latin-1'), run.stderr.decode('latin-1')
        # A span that meets none of the files finds nothing, and says so.
        if run.returncode != 0 or err and (err, out[name]) != (NOT_FOUND % arc, '{"data": []}\n'):
            return ['%s %s: status %d, %r' % (folder, name, run.returncode, err)]
    failures = []
    def fail(what):
        failures.append(folder + ': ' + what)
    try:
        compact, pretty, limited, timed = (json.loads(out[name])
                                           for name in ('compact', 'pretty', 'limited', 'timed'))
    except ValueError as error:
        return [folder + ': JSON does not parse: ' + str(error)]
    data = compact['data']
    if list(compact) != ['data']:
        fail('unexpected members ' + str(list(compact)))
    if len(data) != items:
        fail('%d items exported, %d written' % (len(data), items))
    if pretty != compact:
        fail('pretty and compact JSON differ')
    csv = out['csv']
    if csv.count('\n') != len(data) or (csv and not csv.endswith('\n')):
        fail('%d CSV lines for %d items' % (csv.count('\n'), len(data)))
    if limited['data'] != data[:limit]:
        fail('-ic %d is not a prefix of the whole export' % limit)
    if limited.get('total_item_count') != len(data):
        fail('total_item_count %s for %d items' % (limited.get('total_item_count'), len(data)))
    within = [item for item in data
              if (not t1 or item['ts'] >= t1) and (not t2 or item['ts'] <= t2)]
    if timed['data'] != within:
        fail('-ft1 %s -ft2 %s: %d items, %d expected' % (o1, o2, len(timed['data']), len(within)))
    return failures

with concurrent.futures.ThreadPoolExecutor(2 * os.cpu_count()) as pool:
    results = list(pool.map(check, open(manifest)))
for failure in [failure for result in results for failure in result][:20]:
    print(failure)
print('checked %d archives' % len(results))
