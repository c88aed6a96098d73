import threading
import zrhost

try:
    zrhost.heat(900)
except zrhost.Error as error:
    print('no:', error)

# Another thread's script goes on while this one waits in the application.
counted = [20]
heating = True
def count():
    while heating:
        counted.append(zrhost.degrees())
counter = threading.Thread(target=count)
counter.start()

seen = [zrhost.degrees()]
zrhost.heat(60)
zrhost.wait(60, 'seen.append(zrhost.degrees())')
heating = False
counter.join()
print('hotter each time, up to %g' % seen[-1] if seen == sorted(set(seen)) else seen)
print('and another thread looked', len(counted) > 1 and 'meanwhile')

zrhost.heat(100)
zrhost.wait(100, '1 / 0')
