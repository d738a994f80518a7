/**
 * Three names of the older package that native signatures still carry. New programs have no use for them: they are
 * implemented by the classes of {@code velnor}.
 */
package quadrel;
