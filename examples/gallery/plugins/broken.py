result = 1
limit = load / (count - 4)
