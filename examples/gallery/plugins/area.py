# A result for each face; helpers that have no form in the host stay here.
def stress(face):
    return load / count * (2 if face == 'top' else 1)

stresses = [stress(face) for face in faces]
highest = max(stresses)
