/*
 * host_main.cpp - kivprinter-host, the reference receiver: listens where
 * the backend connects, checks every record, and turns each job into a
 * folder of page images and a job.json; with --forward it also delivers
 * every complete job to an IPP printer.
 *
 *   kivprinter-host [--socket PATH] [--mode OCTAL] [--out DIR] [--dump] [--once]
 *                   [--forward URI] [--no-images] [--retry-max SECONDS]
 */
#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "delivery.h"
#include "host_connection.h"
#include "host_listener.h"
#include "option_number.h"

static void usage(FILE *to)
{
  fputs("usage: kivprinter-host [options]\n"
        "Receives print jobs from the backend, saves each page as a PNG and, with\n"
        "--forward, delivers every complete job to a printer.\n"
        "  -s, --socket PATH   listen on PATH (default /tmp/kivprinter.sock)\n"
        "  -m, --mode OCTAL    permissions of the socket file (default 0666, so\n"
        "                      that backends running as the lp user can connect)\n"
        "  -o, --out DIR       save jobs under DIR (default ./received)\n"
        "  -d, --dump          print every record as a JSON line; save nothing\n"
        "  -1, --once          stop after the first job (and its delivery, with\n"
        "                      --forward); exit 0 when it was complete\n"
        "  -f, --forward URI   deliver every complete job to the IPP printer at URI\n"
        "                      (ipp://host[:port]/path or ipps://...) as PWG raster;\n"
        "                      jobs are spooled under the --out folder first\n"
        "  -n, --no-images     do not write the PNG page images\n"
        "  -r, --retry-max S   longest wait between delivery attempts (default 60)\n"
        "  -h, --help          this text\n"
        "Stop it with Ctrl-C (SIGINT) or SIGTERM; the socket file is removed, and\n"
        "unfinished deliveries resume when it starts again.  Under a service\n"
        "manager it takes an inherited listening socket (LISTEN_FDS).\n",
        to);
}

/* Reads an option's whole text as a number in base between low and high
   (no minus sign, nothing after it); 1 with *value, or 0 after the line
   "kivprinter-host: bad <name> '<text>' (<hint>)". */
static int option_value(const char *text, int base, unsigned long low, unsigned long high, const char *name,
                        const char *hint, unsigned *value)
{
  unsigned long number;
  char *end;
  if (text[0] != '-' && option_number_prefix(text, base, low, high, &number, &end) && !*end)
  {
    *value = (unsigned)number;
    return 1;
  }
  fprintf(stderr, "kivprinter-host: bad %s '%s' (%s)\n", name, text, hint);
  return 0;
}

int main(int argc, char **argv)
{
  static const struct option longOptions[] = {
    {"socket", required_argument, nullptr, 's'},
    {"mode", required_argument, nullptr, 'm'},
    {"out", required_argument, nullptr, 'o'},
    {"dump", no_argument, nullptr, 'd'},
    {"once", no_argument, nullptr, '1'},
    {"forward", required_argument, nullptr, 'f'},
    {"no-images", no_argument, nullptr, 'n'},
    {"retry-max", required_argument, nullptr, 'r'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
  };
  ListenerConfig listener;
  HostShared shared;
  unsigned retryMax = 60;
  int opt;
  while ((opt = getopt_long(argc, argv, "s:m:o:d1f:nr:h", longOptions, nullptr)) != -1)
  {
    switch (opt)
    {
      case 's':
        listener.path = optarg;
        break;
      case 'm':
        if (!option_value(optarg, 8, 0, 0777, "mode", "octal, e.g. 0660", &listener.mode))
          return 2;
        break;
      case 'o':
        shared.config.outDir = optarg;
        break;
      case 'd':
        shared.config.dump = true;
        break;
      case '1':
        listener.once = true;
        break;
      case 'f':
        shared.config.forwardUri = optarg;
        break;
      case 'n':
        shared.config.noImages = true;
        break;
      case 'r':
        if (!option_value(optarg, 10, 1, 86400, "--retry-max", "seconds, 1 to 86400", &retryMax))
          return 2;
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
  if (!shared.config.forwardUri.empty() && shared.config.dump)
  {
    fprintf(stderr, "kivprinter-host: --forward spools jobs in the --out folder; it cannot be used with --dump\n");
    return 2;
  }

  if (!shared.config.forwardUri.empty())
  {
    DeliveryConfig delivery;
    delivery.uri = shared.config.forwardUri;
    delivery.spoolDir = shared.config.outDir;
    delivery.retryMax = retryMax;
    shared.delivery = delivery_start(delivery);
    if (!shared.delivery)
      return 2;
  }
  int status = run_receiver(listener, &shared);
  /* With --once the job's delivery is part of the job: wait for it (a stop
     signal still ends the wait; the delivery resumes at the next start). */
  if (shared.delivery && listener.once && status == 0)
    while (!delivery_idle(shared.delivery) && !receiver_stop_requested())
      usleep(50000);
  delivery_stop(shared.delivery);
  return status;
}
