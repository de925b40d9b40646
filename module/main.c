// SPDX-License-Identifier: GPL-2.0
/* Virtual clocks for chosen users, groups and processes. */
#include <linux/module.h>

#include "hooks.h"
#include "ids.h"
#include "page.h"
#include "proc.h"
#include "process.h"
#include "table.h"
#include "timers.h"
#include "tree.h"
#include "version.h"
#include "vvar.h"

static int __init zynov_init(void)
{
	int error;

	error = vvar_init();
	if (error)
		return error;
	tree_call(table_lose_ended);
	error = process_init();
	if (error)
		goto no_processes;
	error = hooks_init();
	if (error)
		goto no_hooks;
	error = proc_init();
	if (error)
		goto no_file;
	return 0;

no_file:
	hooks_exit();
	timers_exit();
no_hooks:
	process_exit();
no_processes:
	vvar_exit();
	page_exit();
	return error;
}

static void __exit zynov_exit(void)
{
	proc_exit();
	table_empty();
	/* A child that is being forked may have copied a page: the hook takes it away. */
	if (!ids_await_forks())
		page_keep("a fork does not end");
	hooks_exit();
	timers_exit();
	vvar_exit();
	table_lose_ended(); /* frees the clocks that were kept for who had their page mapped */
	process_exit();
	page_exit();
}

module_init(zynov_init);
module_exit(zynov_exit);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("Virtual clocks for users, groups and processes");
MODULE_VERSION(OV_VERSION "." OV_RELEASE);
MODULE_AUTHOR("Orvane");
