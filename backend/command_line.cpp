/*
 * command_line.cpp - the command line reader.
 */
#include "command_line.h"

#include <string.h>

/*
 * 'command_isspace()' - Whitespace of the C locale.
 *
 * The process may run in any locale (the job's language is set from its
 * environment); the stream's syntax must not change with it, and bytes of
 * 0x80 and above are never whitespace.
 */
int command_isspace(int c)
{
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

/*
 * 'readRawLine()' - Take one line's bytes from the reader into line.
 *
 * Returns the number of bytes stored (0 for an empty line), or -1 when the
 * input had ended before any byte of this line was taken.  A carriage
 * return ends the line and swallows a new line right after it; a new line
 * ends the line; neither is stored.  After COMMAND_LINE_SIZE - 1 stored
 * bytes the line ends where it is, and the rest comes as the next line.
 * Every byte taken advances pos.  Refills stop at the next new line, so
 * that the raw bytes after a LINE command are still in the read-ahead
 * block, not in buf, when the LINE handler asks for them.
 */
static int readRawLine(_cups_file_s *fp, char *line)
{
  int stored = 0;
  int taken = 0;

  while (stored < COMMAND_LINE_SIZE - 1)
  {
    char c;

    if (!fp->ptr || fp->ptr >= fp->end)
      if (cups_fill_line(fp) <= 0)
      {
        if (!taken)
          return -1;
        break;
      }

    c = *fp->ptr++;
    fp->pos++;
    taken = 1;

    if (c == '\r')
    {
      /* A following new line belongs to the same line end.  A failed
         refill just ends the line; the next read sees the end again. */
      if (fp->ptr >= fp->end)
        if (cups_fill_line(fp) <= 0)
          break;
      if (*fp->ptr == '\n')
      {
        fp->ptr++;
        fp->pos++;
      }
      break;
    }
    if (c == '\n')
      break;
    line[stored++] = c;
  }
  line[stored] = '\0';
  return stored;
}

/*
 * 'read_command_line()' - Read the next command line and split it.
 *
 * Comments: at the first '#', a backslash right before it is removed and
 * the line kept as it is ('#' included); otherwise the line is cut there,
 * with the whitespace before the '#'.  Then leading whitespace goes, empty
 * lines are skipped, the keyword runs to the first whitespace and the
 * value starts after the whitespace that follows it, with its trailing
 * whitespace removed.  A line that starts with '<' is a section line: a
 * '>' at its end is removed, and without one the line has no value.
 */
int read_command_line(_cups_file_s *fp, char *line, char **keyword, char **value)
{
  for (;;)
  {
    char *ptr;
    char *val;

    if (fp->mode != 'r' && fp->mode != 's')
      return 0;
    if (readRawLine(fp, line) < 0)
      return 0;

    /* Comments. */
    if ((ptr = strchr(line, '#')) != NULL)
    {
      if (ptr > line && ptr[-1] == '\\')
        memmove(ptr - 1, ptr, strlen(ptr) + 1);
      else
      {
        while (ptr > line && command_isspace((unsigned char)ptr[-1]))
          ptr--;
        *ptr = '\0';
      }
    }

    /* Leading whitespace. */
    for (ptr = line; command_isspace((unsigned char)*ptr); ptr++)
      ;
    if (ptr > line)
      memmove(line, ptr, strlen(ptr) + 1);
    if (!line[0])
      continue;

    /* Keyword and value. */
    *keyword = line;
    val = NULL;
    for (ptr = line; *ptr && !command_isspace((unsigned char)*ptr); ptr++)
      ;
    if (*ptr)
    {
      char *last;

      while (command_isspace((unsigned char)*ptr))
        *ptr++ = '\0';
      if (*ptr)
        val = ptr;

      /* The last character of the line; when there is no value, that is
         the last whitespace just overwritten. */
      last = ptr + strlen(ptr) - 1;
      if (line[0] == '<')
      {
        if (*last == '>')
          *last-- = '\0';
        else
        {
          *value = NULL;
          return 1;
        }
      }
      if (val)
        while (last > val && command_isspace((unsigned char)*last))
          *last-- = '\0';
    }
    *value = val;
    return 1;
  }
}
