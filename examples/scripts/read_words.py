"""First of two steps: the words of the module `this`. Out: words, for the next step."""
import codecs
import contextlib
import io
import re

with contextlib.redirect_stdout(io.StringIO()):  # the module prints itself
    import this

words = re.findall('[a-z]+', codecs.decode(this.s, 'rot13').lower())
print(len(words), 'words read')
