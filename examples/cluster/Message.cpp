#include <examples/cluster/Message.h>
#include <mpi.h>

#include <cstring>

// One message each: the number of the set, then the text. The tag is the kind.
void Send(int rank, Kind kind, int set, const zrString& text) {
  zrString bytes(sizeof set, '\0');
  std::memcpy(&bytes[0], &set, sizeof set);
  bytes += text;
  MPI_Send(bytes.data(), static_cast<int>(bytes.size()), MPI_BYTE, rank, kind, MPI_COMM_WORLD);
}

Message Receive(int rank) {
  MPI_Status status;
  MPI_Probe(rank < 0 ? MPI_ANY_SOURCE : rank, MPI_ANY_TAG, MPI_COMM_WORLD, &status);
  int size = 0;
  MPI_Get_count(&status, MPI_BYTE, &size);
  zrString bytes(static_cast<size_t>(size), '\0');
  MPI_Recv(&bytes[0], size, MPI_BYTE, status.MPI_SOURCE, status.MPI_TAG, MPI_COMM_WORLD, &status);

  Message message{status.MPI_SOURCE, static_cast<Kind>(status.MPI_TAG), -1, {}};
  std::memcpy(&message.set, bytes.data(), sizeof message.set);
  message.text = bytes.substr(sizeof message.set);
  return message;
}
