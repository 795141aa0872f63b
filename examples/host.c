// A complete host in C (POSIX): converts a file, shows how far it has come, cancels on Ctrl-C.
// Usage: host SOURCE RESULT LOGS, with absolute paths and the environment of host.py.
#define _XOPEN_SOURCE 700
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

static pid_t program;
static int input;

// For Ctrl-C and alarms: a byte, after two seconds SIGTERM, after five more SIGKILL.
static void cancel(int number) {
  static int step;
  (void)number;
  if (step == 0 && write(input, "\x18", 1) != 1) step = 1;  // nobody would hear it
  if (step > 0) kill(program, step == 1 ? SIGTERM : SIGKILL);
  alarm(step++ == 0 ? 2 : 5);
}

// Open for both directions: it neither waits for the program nor ends before it has begun.
static int new_fifo(const char* path) {
  return mkfifo(path, 0600) == 0 ? open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC) : -1;
}

static const char* content_of(const char* path) {
  static char text[65536];
  FILE* file = fopen(path, "r");
  text[file != NULL ? fread(text, 1, sizeof text - 1, file) : 0] = 0;
  return text;
}

// In the child. (A host with threads makes an array of variables beforehand, for execve.)
static void run_program(const char* source, const char* logs, const char* pid) {
  setenv("EXPORT_FILE_PATH", source, 1);
  setenv("EXPORT_DEST_PATH", "result", 1);
  setenv("EXPORT_LOGS_DIR_PATH", logs, 1);
  setenv("EXPORT_INPUT_FIFO_PATH", "input", 1);
  setenv("EXPORT_OUTPUT_FIFO_PATH", "output", 1);
  setenv("EXPORT_TOOL", "ZanburyConverter", 1);
  setenv("EXPORT_TOOL_VERSION", "1.0", 1);
  setenv("EXPORT_SERVER_DESTINATIONS", getenv("ZANBURY_SERVERS"), 1);
  setenv("EXPORT_SERVER_COMMAND_PATH", getenv("ZANBURY_SERVER_COMMAND"), 1);
  // Key texts are passed as they stand, their final line feed too.
  setenv("EXPORT_SERVER_IDENTITY", content_of(getenv("ZANBURY_IDENTITY_FILE")), 1);
  setenv("EXPORT_PUBLIC_KEY", content_of(getenv("ZANBURY_PUBLIC_KEY_FILE")), 1);
  setenv("EXPORT_RETRY_DELAY", "10", 1);
  setenv("EXPORT_HOST_PID", pid, 1);
  setsid();  // the terminal's Ctrl-C is for the host alone
  execl(getenv("ZANBURY_PROGRAM"), "ZanburyToolProxy", (char*)NULL);
  _exit(127);
}

// A message: an XML property list.
static void show(const char* list) {
  static const char* const escaped[] = {"&lt;", "&gt;", "&amp;"};
  const char* section = strstr(list, "<string>progressSection</string>");
  if (section == NULL && strstr(list, "<string>progressStatus</string>") == NULL) return;
  const char* key = section != NULL ? "<key>progressTitle</key>" : "<key>progressValue</key>";
  const char* value = strstr(list, key);
  char text[512] = "";
  if (value != NULL) sscanf(value + strlen(key), "%*[^>]>%511[^<]", text);
  for (int i = 0; i < 3; ++i) {
    for (char* at = text; (at = strstr(at, escaped[i])) != NULL; ++at) {
      memmove(at + 1, at + strlen(escaped[i]), strlen(at + strlen(escaped[i])) + 1);
      *at = "<>&"[i];
    }
  }
  printf("%s%s\n", section != NULL ? "" : "  ", text);
}

// Takes what is in the FIFO. Messages: a length in decimal, a line feed, an XML property list.
static void take(int fifo) {
  static char pending[1 << 20];
  static size_t filled;
  ssize_t count = read(fifo, pending + filled, sizeof pending - filled);
  char *next = pending, *end = pending + filled + (count > 0 ? count : 0), *line_end, *digits;
  while ((line_end = memchr(next, '\n', (size_t)(end - next))) != NULL) {
    size_t length = strtoul(next, &digits, 10);
    if (digits != line_end || length > sizeof pending / 2) next = end;  // not a message: dropped
    if (next == end || (size_t)(end - line_end) <= length) break;
    char* list = strndup(line_end + 1, length);
    show(list);
    free(list);
    next = line_end + 1 + length;
  }
  filled = (size_t)(end - next);
  memmove(pending, next, filled);
}

int main(int count, char** arguments) {
  char directory[4096], pid[24];
  snprintf(directory, sizeof directory, "%s.XXXXXX", count == 4 ? arguments[2] : "/");
  snprintf(pid, sizeof pid, "%ld", (long)getpid());
  if (count != 4 || mkdtemp(directory) == NULL || chdir(directory) != 0) return 2;
  mkdir(arguments[3], 0777);
  setvbuf(stdout, NULL, _IOLBF, 0);
  input = new_fifo("input");
  struct pollfd output = {new_fifo("output"), POLLIN, 0};
  struct sigaction action = {.sa_handler = cancel};
  sigaction(SIGINT, &action, NULL), sigaction(SIGALRM, &action, NULL);
  if ((program = fork()) == 0) run_program(arguments[1], arguments[3], pid);
  siginfo_t end = {0};
  do {
    waitid(P_PID, (id_t)program, &end, WEXITED | WNOHANG | WNOWAIT);
    if (poll(&output, 1, end.si_pid != 0 ? 0 : 100) > 0) take(output.fd);
  } while (end.si_pid == 0 || output.revents != 0);
  int status = end.si_code == CLD_EXITED ? end.si_status : 128 + end.si_status;
  int is_fresh = access("result", F_OK) == 0;
  printf("Status %d, %s result\n", status, is_fresh ? "a" : "no");
  if (is_fresh && (status != 0 || rename("result", arguments[2]) != 0)) unlink("result");
  unlink("input"), unlink("output"), rmdir(directory);
  return status != 0 ? status : !is_fresh;
}
