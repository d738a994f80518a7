/**
 * The command line: what a token has and can do, without a program being written. The commands stand on the public
 * classes of {@code velnor} alone; picocli reads the command line and Gson writes the JSON.
 */
package velnor.cli;
