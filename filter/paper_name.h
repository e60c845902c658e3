/*
 * paper_name.h - the paper name a page is announced with (PAGENAME).
 *
 * The backend turns the name into the page record's paper code through its
 * paper table, so the name chosen is one the table knows whenever the page
 * size allows it.
 */
#ifndef CORVANE_FILTER_PAPER_NAME_H
#define CORVANE_FILTER_PAPER_NAME_H

#include <cups/raster.h>

/* The longest name the backend keeps whole (its page name field holds 41
   bytes, and a name that fills them has no terminator). */
#define PAPER_NAME_MAX 40

/* Chooses the page's paper name into name (PAPER_NAME_MAX + 1 bytes): the
   header's size name when the paper table has it, otherwise the table's
   name of the standard size that matches the page size, otherwise the
   size's own name (which the table does not know: paper code 0). */
void choosePaperName(const cups_page_header2_t *header, char *name);

#endif
