"""Fails on purpose, two calls deep."""


def read(text):
    return int(text)


def average(texts):
    return sum(read(text) for text in texts) / len(texts)


print(average(['12', '15', 'n/a']))
