// Lists of deltas.
#include <cstdio>

#include "sccs/sccs_sfile.h"

Kes_list *kes_deltalist_list(SCCS_deltalist *list) { return list; }

SCCS_deltalist::~SCCS_deltalist() { clear(); }

Kes_list *SCCS_deltalist::create_list() { return new SCCS_deltalist; }

void *SCCS_deltalist::create_data() { return new SCCS_delta; }

void *SCCS_deltalist::copy_data(void *data) { return static_cast<Kes_delta *>(data)->copy(); }

void SCCS_deltalist::delete_data(void *data) { delete static_cast<Kes_delta *>(data); }

void SCCS_deltalist::print_data(void *data) {
  Kes_delta *d = static_cast<Kes_delta *>(data);
  fprintf(stderr, "\t%p %s %d %d\n", data, d->sid ? d->sid : "-", d->serial, d->pred);
}

int SCCS_deltalist::compare_datas(void *a, void *b) { return a == b; }

SCCS_deltalist *SCCS_sfile::new_deltalist() { return new SCCS_deltalist; }
