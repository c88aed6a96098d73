"""A ball is thrown. In: speed (m/s), angle (degrees), drag (1/m). Out: distance, height, time."""
import math

STEP = 0.001


def fly(speed, angle, drag):
    x = y = height = time = 0.0
    vx = speed * math.cos(math.radians(angle))
    vy = speed * math.sin(math.radians(angle))
    while y >= 0.0:
        v = math.hypot(vx, vy)
        vx -= drag * v * vx * STEP
        vy -= (9.81 + drag * v * vy) * STEP
        x += vx * STEP
        y += vy * STEP
        height = max(height, y)
        time += STEP
    return x, height, time


if speed <= 0 or not 0 < angle < 90:
    raise ValueError('nothing flies with speed {} at {} degrees'.format(speed, angle))
distance, height, time = fly(speed, angle, drag)
