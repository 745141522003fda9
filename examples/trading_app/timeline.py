#!/usr/bin/python3
"""Prints what a collector received from trading_app, in the order in which it happened.

Usage: timeline.py ADDRESS   (of telvora-collector, such as http://127.0.0.1:9100)

Ends with 1 if a batch was not correct or no page was reported.
"""

import collections
import datetime
import json
import sys
import urllib.request


def params(report):
    return "".join(f"  {name}={value}" for name, value in (report["pageExpend"] or {}).items())


def others(report):
    frames = (report["extra"] or {}).get("frames", 1)
    return f", and {frames - 1} more" if frames > 1 else ""


# What a report says, by its type.
REPORTS = {
    "START": lambda r: f"launch    first frame {r['ct']:.0f} ms after the start of the process, "
                       f"{r['fp']:.0f} ms after main()",
    "PAGE-VIEW": lambda r: f"page      {r['p']}{params(r)}",
    "FIRST-FRAME": lambda r: f"  frame     first one after {r['f']:.0f} ms",
    "SLOW-FRAME": lambda r: f"  frame     slow: {r['at']:.0f} ms on {r['p']}{others(r)}",
    "FROZEN-FRAME": lambda r: f"  frame     FROZEN: {r['at']:.0f} ms on {r['p']}",
}


def requests(address):
    """All requests that the collector has kept."""
    since, more = 0, True
    while more:
        with urllib.request.urlopen(f"{address}/_telvora/requests?since={since}",
                                    timeout=10) as answer:
            page = json.load(answer)
        yield from page["requests"]
        since, more = page["last"], page["more"]


def line_of(event):
    """The time and the text of a report or an event."""
    if "t" in event:
        describe = REPORTS.get(event["t"], lambda report: f"report    {report['t']}")
        return event["d"], describe(event)
    values = [f"{name}={value:.8g}" if isinstance(value, float) else f"{name}={value}"
              for name, value in event.items() if name not in ("name", "time", "network")]
    return event["time"], "  ".join([f"    event     {event['name']}", *values])


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 64
    lines, kinds, batches, bad = [], collections.Counter(), 0, 0
    for request in requests(sys.argv[1]):
        batches += 1
        if not request["verdict"]["ok"]:
            bad += 1
            print(f"a batch that is not correct: {request['verdict']['problems']}")
            continue
        for event in json.loads(request["body"])[request["verdict"]["key"]]:
            kinds[event.get("t", "event")] += 1
            lines.append(line_of(event))
    for time, text in sorted(lines, key=lambda line: line[0]):
        print(f"{datetime.datetime.fromtimestamp(time):%H:%M:%S.%f}"[:-3] + f"  {text}")
    print(f"\n{batches} batches, {bad} not correct: " + ", ".join(
        f"{count} {kind}" for kind, count in sorted(kinds.items())))
    return 1 if bad or not kinds["PAGE-VIEW"] else 0


sys.exit(main())
