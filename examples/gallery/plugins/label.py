label = '{} x {}'.format(count, material.upper())
