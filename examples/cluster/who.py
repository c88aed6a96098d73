"""Which process runs a set, as mpi4py tells it. Out: rank, size, level."""
from mpi4py import MPI

rank = MPI.COMM_WORLD.Get_rank()
size = MPI.COMM_WORLD.Get_size()
level = 'shared' if MPI.Is_initialized() and not MPI.Is_finalized() else 'of its own'
