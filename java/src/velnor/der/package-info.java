/** Encodings that keys and signatures come in. Nothing for programs: the module does not export it. */
package velnor.der;
