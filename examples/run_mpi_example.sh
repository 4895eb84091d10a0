#!/bin/sh
# Runs the MPI example on two ranks and compares its line with the threaded
# example's. Usage: run_mpi_example.sh MPIEXEC MPI_BINARY THREADS_BINARY
set -eu
# Containers often run as root, which Open MPI refuses unless told.
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
mpi=$("$1" --oversubscribe -np 2 "$2")
threads=$("$3")
echo "mpirun -np 2: $mpi"
echo "threads:      $threads"
[ "$mpi" = "$threads" ]
