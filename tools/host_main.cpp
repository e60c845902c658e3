/*
 * host_main.cpp - kivprinter-host, the reference receiver: listens where
 * the backend connects, checks every record, and turns each job into a
 * folder of page images and a job.json.
 *
 *   kivprinter-host [--socket PATH] [--mode OCTAL] [--out DIR] [--dump] [--once]
 */
#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host_connection.h"
#include "host_listener.h"

static void usage(FILE *to)
{
  fputs("usage: kivprinter-host [options]\n"
        "Receives print jobs from the backend and saves each page as a PNG.\n"
        "  -s, --socket PATH   listen on PATH (default /tmp/kivprinter.sock)\n"
        "  -m, --mode OCTAL    permissions of the socket file (default 0666, so\n"
        "                      that backends running as the lp user can connect)\n"
        "  -o, --out DIR       save jobs under DIR (default ./received)\n"
        "  -d, --dump          print every record as a JSON line; save nothing\n"
        "  -1, --once          stop after the first job; exit 0 when it was complete\n"
        "  -h, --help          this text\n"
        "Stop it with Ctrl-C (SIGINT) or SIGTERM; the socket file is removed.\n",
        to);
}

int main(int argc, char **argv)
{
  static const struct option longOptions[] = {
    {"socket", required_argument, nullptr, 's'},
    {"mode", required_argument, nullptr, 'm'},
    {"out", required_argument, nullptr, 'o'},
    {"dump", no_argument, nullptr, 'd'},
    {"once", no_argument, nullptr, '1'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
  };
  ListenerConfig listener;
  HostShared shared;
  int opt;
  while ((opt = getopt_long(argc, argv, "s:m:o:d1h", longOptions, nullptr)) != -1)
  {
    switch (opt)
    {
      case 's':
        listener.path = optarg;
        break;
      case 'm':
      {
        char *end = nullptr;
        unsigned long mode = strtoul(optarg, &end, 8);
        if (!*optarg || *end || mode > 0777 || optarg[0] == '-')
        {
          fprintf(stderr, "kivprinter-host: bad mode '%s' (octal, e.g. 0660)\n", optarg);
          return 2;
        }
        listener.mode = (unsigned)mode;
        break;
      }
      case 'o':
        shared.config.outDir = optarg;
        break;
      case 'd':
        shared.config.dump = true;
        break;
      case '1':
        listener.once = true;
        break;
      case 'h':
        usage(stdout);
        return 0;
      default:
        usage(stderr);
        return 2;
    }
  }
  if (optind < argc)
  {
    fprintf(stderr, "kivprinter-host: unexpected argument '%s'\n", argv[optind]);
    usage(stderr);
    return 2;
  }
  /* A trailing slash would double in the folder paths. */
  while (shared.config.outDir.size() > 1 && shared.config.outDir.back() == '/')
    shared.config.outDir.pop_back();
  if (shared.config.outDir.empty())
    shared.config.outDir = ".";
  return run_receiver(listener, &shared);
}
