#!/usr/bin/python3
"""Random queries: the page, also of files that were dropped on it, agrees with the program and with the model."""
import json
import os
import random
import re
import unittest

from page_tool import PageTest
import selection_model as model

QUERIES = 200


def key(event):
    """An identifier without the digest, which the page does not have."""
    return re.sub("-[0-9a-f]{16}$", "", event["event"]["id"])


class Queries(PageTest):
    PREFIX = "page_queries"

    def test_random_queries(self):
        rng = random.Random(2024)
        paths = []
        for name in ("one", "two"):
            folder = self.folder(name, {f"{name}{i}.xml": model.random_file(rng, i) for i in range(1, 41)})
            paths += [folder / f"{name}{i}.xml" for i in range(1, 41)]
        for number, path in enumerate(paths):
            os.utime(path, (number, number))
        folders = self.path("one"), self.path("two")
        events = [json.loads(line) for name in folders for line in self.varnel("show", "--json", name)[0].splitlines()]
        queries = [model.random_query(rng, events) for _ in range(QUERIES)]
        expected = [[key(event) for event in model.select(events, query, by_time=True)] for query in queries]
        self.assertLess(QUERIES // 4, sum(map(bool, expected)))
        found = [[key(json.loads(line)) for line in self.varnel("show", "--json", *model.as_options(query), *folders)[0].splitlines()] for query in queries]
        self.compare("program", queries, expected, found)
        self.varnel("show", "--html", self.path("written.html"), *folders)
        self.page("written")
        self.compare("page", queries, expected, [self.filter(model.as_filter(query))[0] for query in queries])
        self.page("empty")
        self.choose(paths)
        self.compare("dropped files", queries, expected, [self.filter(model.as_filter(query))[0] for query in queries])

    def compare(self, form, queries, expected, found):
        for query, wanted, shown in zip(queries, expected, found, strict=True):
            with self.subTest(form, query=query):
                self.assertEqual(wanted, shown, model.as_filter(query))


if __name__ == "__main__":
    unittest.main()
