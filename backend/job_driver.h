/*
 * job_driver.h - the backend's entry: arguments, printer lookup, input,
 * connection, command loop and exit status.
 */
#ifndef CORVANE_JOB_DRIVER_H
#define CORVANE_JOB_DRIVER_H

/* CUPS backend exit statuses; the backend returns no other values. */
#define CORVANE_BACKEND_OK   0
#define CORVANE_BACKEND_STOP 4

/* Runs one backend invocation and returns its exit status (0 or 4). */
int backend_main(int argc, char **argv);

#endif
