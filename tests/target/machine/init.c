/* The first process of the virtual machine: prepares the system, runs the listed programs one after
 * the other, and powers off. Everything it has to say goes over the console, between lines that the
 * host's side (machine.py) takes apart:
 *
 *     @@ machine UPTIME              the system is ready
 *     @@ begin NAME
 *     ... what the program prints ...
 *     @@ end NAME STATUS SECONDS     128 + signal for a program that was killed, 124 for one that
 *                                    ran into its limit
 *     @@ done
 *
 * /programs lists them, one a line: NAME LIMIT-SECONDS PATH [ARGUMENT...]. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <net/if.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum
{
    MOST_ARGUMENTS = 16,
    TIMED_OUT = 124,
    NOT_FOUND = 127
};

struct module
{
    const char *file;
    const char *options;
};

/* In the order in which they need each other. The last three are there so that, as on a real
 * system, a kernel driver holds the reader when the library comes. */
static const struct module modules[] = {
    {"usb-common.ko", ""},
    {"usbcore.ko", "old_scheme_first=1"}, /* a tenth of a second less for each plugging in */
    {"usbip-core.ko", ""},
    {"vhci-hcd.ko", ""},
    {"hid.ko", ""},
    {"usbhid.ko", ""},
    {"hid-generic.ko", ""},
};

static double now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_BOOTTIME, &time);
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

static void mount_all(void)
{
    /* For a system that starts from memory the kernel mounts nothing by itself. */
    mount("dev", "/dev", "devtmpfs", 0, NULL);
    mount("proc", "/proc", "proc", 0, NULL);
    mount("sysfs", "/sys", "sysfs", 0, NULL);
    mkdir("/dev/pts", 0755);
    mount("devpts", "/dev/pts", "devpts", 0, "mode=620,ptmxmode=666");
    mkdir("/dev/shm", 01777);
    mount("shm", "/dev/shm", "tmpfs", 0, NULL);
}

static void open_console(void)
{
    const int console = open("/dev/console", O_RDWR);
    for (int i = 0; i <= 2 && console >= 0; ++i)
        dup2(console, i);
    if (console > 2)
        close(console);
}

static void raise_loopback(void)
{
    struct ifreq request;
    memset(&request, 0, sizeof request);
    strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    const int socket_ = socket(AF_INET, SOCK_DGRAM, 0);
    ioctl(socket_, SIOCSIFFLAGS, &request);
    close(socket_);
}

/* The machine has no clock of its own: it would live in 1970, where log files look too old. */
static void set_clock(void)
{
    const struct timeval time = {1717243200, 0}; /* 2024-06-01 12:00:00 UTC */
    settimeofday(&time, NULL);
}

static void load_module(const struct module *module)
{
    char path[128];
    snprintf(path, sizeof path, "/modules/%s", module->file);
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0 || syscall(SYS_finit_module, file, module->options, 0) != 0)
        printf("@@ problem module %s: %s\n", module->file, strerror(errno));
    close(file);
}

/* The module makes eight controllers with two root hubs each. One is enough, and every opening of
 * the reader looks through all hubs there are. */
static void drop_spare_controllers(void)
{
    const int unbind = open("/sys/bus/platform/drivers/vhci_hcd/unbind", O_WRONLY | O_CLOEXEC);
    for (int i = 1; i < 8; ++i)
    {
        char name[16];
        const int length = snprintf(name, sizeof name, "vhci_hcd.%d", i);
        if (write(unbind, name, (size_t)length) != length)
            printf("@@ problem %s: %s\n", name, strerror(errno));
    }
    close(unbind);
}

static void start(char *const *arguments)
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, NULL);
    setpgid(0, 0); /* no session of its own: a serial line must not become its terminal */
    setenv("PATH", "/bin", 1);
    setenv("HOME", "/", 1);
    setenv("GTEST_COLOR", "no", 1);
    execv(arguments[0], arguments);
    fprintf(stderr, "%s: %s\n", arguments[0], strerror(errno));
    _exit(NOT_FOUND);
}

/* Waits for the program; children it has left behind are reaped on the way. */
static int wait_for(pid_t program, int limit)
{
    sigset_t child;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    const double end = now() + limit;
    for (;;)
    {
        int status = 0;
        const pid_t ended = waitpid(-1, &status, WNOHANG);
        if (ended == program)
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        if (ended > 0)
            continue;
        if (now() >= end)
            return TIMED_OUT;
        const struct timespec second = {1, 0};
        sigtimedwait(&child, NULL, &second);
    }
}

static void run(char *line)
{
    char *arguments[MOST_ARGUMENTS + 1] = {NULL};
    char *rest = NULL;
    const char *name = strtok_r(line, " \n", &rest);
    const char *limit = strtok_r(NULL, " \n", &rest);
    for (int i = 0; i < MOST_ARGUMENTS; ++i)
        arguments[i] = strtok_r(NULL, " \n", &rest);
    if (name == NULL || limit == NULL || arguments[0] == NULL)
        return;
    printf("@@ begin %s\n", name);
    const double began = now();
    const pid_t program = fork();
    if (program == 0)
        start(arguments);
    const int status = wait_for(program, atoi(limit));
    kill(-1, SIGKILL); /* what the program has left running is not the next one's */
    while (waitpid(-1, NULL, 0) > 0)
    {
    }
    printf("\n@@ end %s %d %.3f\n", name, status, now() - began);
}

int main(void)
{
    mount_all();
    open_console();
    setvbuf(stdout, NULL, _IONBF, 0);
    sigset_t child;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child, NULL);
    set_clock();
    raise_loopback();
    for (size_t i = 0; i < sizeof modules / sizeof modules[0]; ++i)
        load_module(&modules[i]);
    drop_spare_controllers();
    printf("@@ machine %.3f\n", now());

    FILE *programs = fopen("/programs", "re");
    char line[1024];
    while (programs != NULL && fgets(line, sizeof line, programs) != NULL)
        run(line);
    printf("@@ done\n");
    sync();
    reboot(RB_POWER_OFF);
    return 1;
}
