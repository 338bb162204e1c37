#!/usr/bin/env python3
"""report.py over made-up measurements."""
import unittest

import report


def benchmark(name, times, unit="us", **more):
    return [{"name": name, "run_name": name, "run_type": "iteration", "real_time": time, "time_unit": unit, **more} for time in times]


class Medians(unittest.TestCase):
    def test_rounds_of_one_name_become_their_median_in_nanoseconds(self):
        result = {"benchmarks": benchmark("a/b/manual_time", [3, 1, 200]) + benchmark("c/real_time", [1, 2], "ms")}
        self.assertEqual(report.medians(result), {"a/b": 3000, "c": 1.5e6})

    def test_aggregates_are_no_rounds(self):
        result = {"benchmarks": benchmark("a", [5])}
        result["benchmarks"] += benchmark("a_mean", [7])
        result["benchmarks"][1]["run_type"] = "aggregate"
        self.assertEqual(report.medians(result), {"a": 5000})

    def test_a_row_that_failed_is_told_by_its_name(self):
        with self.assertRaisesRegex(ValueError, "a: no answer"):
            report.medians({"benchmarks": benchmark("a", [0], error_occurred=True, error_message="no answer")})

    def test_counters_are_those_of_the_rounds_that_have_them(self):
        result = {"benchmarks": benchmark("a/real_time", [1, 1], server_us=4.0) + benchmark("b", [1])}
        self.assertEqual(report.counters(result, "server_us"), {"a": 4.0})


class Rows(unittest.TestCase):
    def check(self, row, measured, target, reached):
        self.assertEqual((row.measured, row.target, row.reached), (measured, target, reached))

    def test_a_ratio_is_reached_up_to_its_limit(self):
        self.check(report.at_most("", 8000, 1000, 8), "8.00 × (8 µs : 1 µs)", "at most 8 ×", True)
        self.check(report.at_most("", 8010, 1000, 8), "8.01 × (8.01 µs : 1 µs)", "at most 8 ×", False)

    def test_faster_counts_the_other_way_round(self):
        self.check(report.faster("", 1e6, 3e6, 3), "3.00 × as fast (1 ms : 3 ms)", "at least 3 × as fast", True)
        self.check(report.faster("", 3e6, 1e6, 3), "0.33 × as fast (3 ms : 1 ms)", "at least 3 × as fast", False)

    def test_a_difference_is_one_of_the_same_unit(self):
        self.check(report.difference("", 20.5, 5.0, 15, "ms"), "+15.50 ms (20.50 : 5.00)", "at most +15 ms", False)
        self.check(report.difference("", 20, 5, 15, "ms"), "+15.00 ms (20.00 : 5.00)", "at most +15 ms", True)

    def test_counts_are_compared_as_they_are(self):
        self.check(report.count_ratio("", 600, 200, 3), "3.00 × (600 : 200)", "at most 3 ×", True)
        self.check(report.count_ratio("", 601, 200, 3), "3.00 × (601 : 200)", "at most 3 ×", False)

    def test_sizes_have_a_limit(self):
        self.check(report.size("", 400.04, 400), "400.0 KiB", "at most 400 KiB", False)

    def test_the_longest_has_to_be_within_the_limit(self):
        self.check(report.within("", 8.6, 184.1, 300), "9 ms (the longest 184 ms)", "at most 300 ms", True)
        self.check(report.within("", 8.6, 300.1, 300), "9 ms (the longest 300 ms)", "at most 300 ms", False)

    def test_flat_compares_the_dearest_with_the_cheapest_wherever_they_stand(self):
        self.check(report.flat("", {10: 1000, 500: 800, 1000: 900}, 20), "+25.0 % (10: 1 µs, 500: 800 ns, 1,000: 900 ns)",
                   "flat within 20 %", False)
        self.assertTrue(report.flat("", {10: 1000, 500: 1190}, 20).reached)

    def test_memory_may_shrink(self):
        self.check(report.grown("", 20000, 20200, 1), "+1.00 % (20,000 KiB, then 20,200 KiB)", "flat within 1 %", True)
        self.assertFalse(report.grown("", 20000, 20201, 1).reached)
        self.assertTrue(report.grown("", 20000, 15000, 1).reached)

    def test_times_have_three_digits(self):
        self.assertEqual([report.time_text(ns) for ns in (850, 41612, 123456, 1.5e9)], ["850 ns", "41.6 µs", "123 µs", "1.5 s"])

    def test_the_table_has_columns(self):
        rows = [report.Row("a", "1 × (1 : 1)", "at most 2 ×", True), report.Row("longer", "2", "", None)]
        self.assertEqual(report.table(rows), ["| row    | measured    | target      | reached |",
                                              "|--------|-------------|-------------|---------|",
                                              "| a      | 1 × (1 : 1) | at most 2 × | yes     |",
                                              "| longer | 2           |             |         |"])


class Counts(unittest.TestCase):
    STORED = {"key": {"albums": 1000, "tracks": 2000}}

    def compare(self, key="key", **counts):
        return report.compare_counts(self.STORED, key, counts)

    def test_up_to_five_per_cent_more_is_no_failure(self):
        lines, failed = self.compare(albums=1050, tracks=1900)
        self.assertFalse(failed)
        self.assertEqual(lines, ["albums: 1,050 instructions, 1,000 stored (+5.00 %)",
                                 "tracks: 1,900 instructions, 2,000 stored (-5.00 %)"])

    def test_more_than_that_fails_with_the_row_and_both_numbers(self):
        lines, failed = self.compare(albums=1000, tracks=2101)
        self.assertTrue(failed)
        self.assertEqual(lines[-1], "FAILED: tracks takes 2,101 instructions, over 5 % more than the 2,000 stored.")

    def test_considerably_fewer_are_worth_storing(self):
        lines, failed = self.compare(albums=940)
        self.assertFalse(failed)
        self.assertEqual(lines[-1], "albums takes considerably fewer than stored: renew the store with bench/run.py --store.")

    def test_other_compilers_and_libraries_have_counts_of_their_own(self):
        lines, failed = self.compare(key="another", albums=5000)
        self.assertFalse(failed)
        self.assertEqual(lines, ["albums: 5,000 instructions",
                                 "Nothing is stored for \"another\": bench/run.py --store stores these counts."])

    def test_a_row_that_is_new_is_not_stored_yet(self):
        lines, failed = self.compare(artists=7)
        self.assertFalse(failed)
        self.assertEqual(lines[-1], "Nothing is stored for \"key\": bench/run.py --store stores these counts.")


if __name__ == "__main__":
    unittest.main()
