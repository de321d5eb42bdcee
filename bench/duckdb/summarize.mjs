// Times DuckDB's SUMMARIZE of a delimited file on one thread, for the profile benchmark to set
// beside `cfmeta profile --summaries`. Prints the seconds the query took.
//
//   node bench/duckdb/summarize.mjs FILE.csv
import { DuckDBInstance } from '@duckdb/node-api';

const file = process.argv[2];
const instance = await DuckDBInstance.create(':memory:', { threads: '1' });
const connection = await instance.connect();
const start = process.hrtime.bigint();
const result = await connection.runAndReadAll(
  `SUMMARIZE SELECT * FROM read_csv('${file.replaceAll("'", "''")}', header = true)`);
const seconds = Number(process.hrtime.bigint() - start) / 1e9;
if (result.getRows().length === 0) throw new Error('SUMMARIZE returned no rows');
console.log(seconds.toFixed(3));
