// Line I/O speed of the file record against stdio and iostreams: reads a ~100 MB text file of
// varied line lengths line by line with FL_S, std::getline and fgets, and writes it line by line
// with S_FL and fputs. Each is timed best of 3; the ratios FL_S/fgets, FL_S/getline and
// S_FL/fputs are printed (at most 1.0 is the aim). Usage: fl_bench [directory] (default /tmp).
// The files it makes are deleted at the end.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

#include "ut.h"

static const unsigned long target_bytes = 100UL * 1000 * 1000;
static const int runs = 3;

// What one pass saw, to check that every reader read the same file.
struct Tally {
    unsigned long lines = 0, bytes = 0;
};

// The test file: lines of 0 to 199 characters (average about 100), from a fixed LCG.
static void make_file(const std::string& fnam) {
    FILE* fp = fopen(fnam.c_str(), "wb");
    if (!fp) {
        perror(fnam.c_str());
        exit(1);
    }
    uint32_t seed = 12345;
    std::string line;
    for (unsigned long done = 0; done < target_bytes; done += line.size()) {
        seed = seed * 1103515245u + 12345u;
        line.assign((seed >> 16) % 200, 'a');
        for (size_t i = 0; i < line.size(); i++) line[i] = static_cast<char>('a' + (seed + i) % 26);
        line += '\n';
        fwrite(line.data(), 1, line.size(), fp);
    }
    fclose(fp);
}

// Best wall time in seconds of runs passes of pass; its tally of the last pass goes to *t.
static double best_of(const std::function<Tally()>& pass, Tally* t) {
    double best = 1e30;
    for (int i = 0; i < runs; i++) {
        auto from = std::chrono::steady_clock::now();
        *t = pass();
        std::chrono::duration<double> took = std::chrono::steady_clock::now() - from;
        if (took.count() < best) best = took.count();
    }
    return best;
}

static Tally read_fl_s(const std::string& fnam) {
    Tally t;
    static char rc[65521];
    FLDF* fd = FL_OP(fnam.c_str(), 0, 0, 0, nullptr);
    for (uint16_t n = FL_S(fd, rc, 65520, 0); n != 65535; n = FL_S(fd, rc, 65520, 0)) {
        t.lines++;
        t.bytes += n;
    }
    FL_CL(fd, 1);
    return t;
}

static Tally read_getline(const std::string& fnam) {
    Tally t;
    std::ifstream in(fnam, std::ios::binary);
    for (std::string line; std::getline(in, line);) {
        t.lines++;
        t.bytes += line.size();
    }
    return t;
}

static Tally read_fgets(const std::string& fnam) {
    Tally t;
    static char buf[65536];
    FILE* fp = fopen(fnam.c_str(), "rb");
    while (fgets(buf, sizeof buf, fp)) {
        size_t n = strlen(buf);
        if (n && buf[n - 1] == '\n') buf[--n] = 0;
        t.lines++;
        t.bytes += n;
    }
    fclose(fp);
    return t;
}

static Tally write_s_fl(const std::string& fnam, const std::vector<char*>& lines) {
    FLDF* fd = FL_OP(fnam.c_str(), 1, 0, 0, nullptr);
    for (char* line : lines) S_FL(fd, line);
    FL_CL(fd, 1);
    return Tally{lines.size(), 0};
}

static Tally write_fputs(const std::string& fnam, const std::vector<char*>& lines) {
    FILE* fp = fopen(fnam.c_str(), "wb");
    for (char* line : lines) {
        fputs(line, fp);
        putc('\n', fp);
    }
    fclose(fp);
    return Tally{lines.size(), 0};
}

// The file's lines in memory, each ended by a zero where its LF was; bf owns them.
static std::vector<char*> lines_in_memory(const std::string& fnam, char** bf) {
    unsigned long sz = 0;
    *bf = FILE_BF(fnam.c_str(), &sz);
    std::vector<char*> lines;
    for (char *p = *bf, *end = *bf + sz; p < end;) {
        char* lf = static_cast<char*>(memchr(p, '\n', static_cast<size_t>(end - p)));
        *lf = 0;
        lines.push_back(p);
        p = lf + 1;
    }
    return lines;
}

int main(int argc, char** argv) {
    std::string dir = argc > 1 ? argv[1] : "/tmp";
    std::string in = dir + "/fl_bench_" + std::to_string(getpid()) + "_in.txt";
    std::string out = dir + "/fl_bench_" + std::to_string(getpid()) + "_out.txt";
    make_file(in);
    Tally a, b, c;
    double fl_s = best_of([&] { return read_fl_s(in); }, &a);
    double getl = best_of([&] { return read_getline(in); }, &b);
    double fgts = best_of([&] { return read_fgets(in); }, &c);
    if (a.lines != b.lines || a.bytes != b.bytes || a.lines != c.lines || a.bytes != c.bytes)
        fprintf(stderr, "readers disagree: %lu/%lu %lu/%lu %lu/%lu\n", a.lines, a.bytes, b.lines,
                b.bytes, c.lines, c.bytes);
    char* bf = nullptr;
    std::vector<char*> lines = lines_in_memory(in, &bf);
    double s_fl = best_of([&] { return write_s_fl(out, lines); }, &a);
    std::string by_fl = FILE_SZ(out.c_str(), 1) == FILE_SZ(in.c_str(), 1) ? "" : " (size differs!)";
    double fpts = best_of([&] { return write_fputs(out, lines); }, &b);
    MEM_FR(&bf);
    remove(in.c_str());
    remove(out.c_str());
    if (err_) {
        fprintf(stderr, "error: %s\n", ERR_S());
        return 1;
    }
    printf("file: %lu lines, %lu bytes of text, in %s\n", c.lines, c.bytes, dir.c_str());
    printf("read   FL_S %.3f s   std::getline %.3f s   fgets %.3f s\n", fl_s, getl, fgts);
    printf("write  S_FL %.3f s%s   fputs %.3f s\n", s_fl, by_fl.c_str(), fpts);
    printf("ratios FL_S/fgets %.2f   FL_S/getline %.2f   S_FL/fputs %.2f\n", fl_s / fgts,
           fl_s / getl, s_fl / fpts);
    return 0;
}
