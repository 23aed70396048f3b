// An MPI program for the launch tests: each process prints its rank, the
// size of the run and its first argument.
#include <mpi.h>

#include <cstdio>

int main(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    int rank = -1;
    int size = -1;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    std::printf("rank %d of %d: %s\n", rank, size, argc > 1 ? argv[1] : "");
    std::fflush(stdout);
    MPI_Finalize();
    return 0;
}
