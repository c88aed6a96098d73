"""Adds up an order. In: customer, price, count, rate (of tax). Out: total, lines."""
import datetime

net = price * count
tax = round(net * rate, 2)
total = net + tax
due = datetime.date(2025, 1, 31) + datetime.timedelta(days=30)
lines = ['{:>3} x {:.2f}'.format(count, price), 'tax {:.2f}'.format(tax)]

print('Invoice for', customer, 'due', due)
