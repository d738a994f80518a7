/** Tokens in {@code java.security}: {@link velnor.jca.HarluneProvider} is the way in. */
package velnor.jca;
