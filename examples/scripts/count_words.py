"""Second of two steps. In: words, which the step before left in the context. Out: top."""
import collections

top = ['{} {}'.format(word, count) for word, count in collections.Counter(words).most_common(3)]
