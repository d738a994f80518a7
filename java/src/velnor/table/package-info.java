/** What is known of each mechanism, for the packages of this module alone. */
package velnor.table;
