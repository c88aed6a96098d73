def add(total, number):
    total = total + number
    return total


total = 0
for number in range(4):
    total = add(total, number)
print('total', total)
