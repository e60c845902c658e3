/*
 * printer_lookup.h - the queue's description, asked of the CUPS scheduler.
 */
#ifndef CORVANE_PRINTER_LOOKUP_H
#define CORVANE_PRINTER_LOOKUP_H

/* The printer-info of the queue named by $PRINTER, or null.  The text is a
   heap copy that stays valid for the rest of the process. */
const char *getPrinterName(void);

#endif
